/// Which of the known names a mistyped one was meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zrtmon::sim {

/// The known name that differs least from the wanted one, case-insensitively: by characters added, removed,
/// replaced or swapped with their neighbour. The first of several; empty if all of them differ in more than a
/// third of their characters.
std::string_view Nearest(std::string_view wanted, const std::vector<std::string_view>& known);

/// "; did you mean NAME?" for the end of a message; empty for an empty name.
std::string DidYouMean(std::string_view nearest);

} // namespace zrtmon::sim
