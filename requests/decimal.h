#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace zrtmon {

/// The number that a text begins with, in the manner of the C library's atoi and _wtoi: blanks, an
/// optional sign, digits up to the first other character; 0 without digits. Unlike theirs, a number beyond
/// int is defined: the nearest int.
template <typename Char>
int DecimalValue(std::basic_string_view<Char> text)
{
    size_t position = 0;
    const auto isBlank = [](Char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (position < text.size() && isBlank(text[position])) {
        ++position;
    }
    bool negative = false;
    if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
        negative = text[position++] == '-';
    }
    constexpr long long kBeyondInt = 1LL + std::numeric_limits<int>::max();
    long long value = 0;
    for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; ++position) {
        value = std::min(value * 10 + static_cast<long long>(text[position] - '0'), kBeyondInt);
    }
    const long long result = negative ? -value : std::min(value, kBeyondInt - 1);
    return static_cast<int>(result);
}

/// The text of a number, as printf's "%d" gives it.
inline std::string DecimalText(int value) { return std::to_string(value); }

} // namespace zrtmon
