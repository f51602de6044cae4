#include "simulator/nearest_name.h"

#include <algorithm>
#include <string>

namespace zrtmon::sim {
namespace {

std::string LowerCase(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower;
}

// Edit distance with swaps of neighbours, over three rows of the usual table.
size_t Distance(const std::string& from, const std::string& to)
{
    std::vector<size_t> beforeLast(to.size() + 1), last(to.size() + 1), current(to.size() + 1);
    for (size_t j = 0; j <= to.size(); ++j) {
        last[j] = j;
    }
    for (size_t i = 1; i <= from.size(); ++i) {
        current[0] = i;
        for (size_t j = 1; j <= to.size(); ++j) {
            const size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            current[j] = std::min({replaced, last[j] + 1, current[j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                current[j] = std::min(current[j], beforeLast[j - 2] + 1);
            }
        }
        std::swap(beforeLast, last);
        std::swap(last, current);
    }
    return last[to.size()];
}

} // namespace

std::string_view Nearest(std::string_view wanted, const std::vector<std::string_view>& known)
{
    const std::string from = LowerCase(wanted);
    std::string_view nearest;
    size_t least = std::string_view::npos;
    for (const std::string_view name : known) {
        const size_t limit = std::max<size_t>(1, std::max(from.size(), name.size()) / 3);
        const size_t distance = Distance(from, LowerCase(name));
        if (distance <= limit && distance < least) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string DidYouMean(std::string_view nearest)
{
    return nearest.empty() ? "" : "; did you mean " + std::string(nearest) + '?';
}

} // namespace zrtmon::sim
