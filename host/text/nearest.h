/// Which of the known words a mistyped one was meant to be.
#pragma once

#include <string_view>
#include <vector>

namespace zrtmon::host {

/// The known word that needs the fewest characters added, taken away, replaced or swapped with their
/// neighbour to become the wanted one, letter case apart; the first of several. known is not empty.
std::string_view Nearest(std::string_view wanted, const std::vector<std::string_view>& known);

} // namespace zrtmon::host
