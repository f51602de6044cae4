/// Wide text as the platform's functions take it, and UTF-8 as the system's calls do.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zrtmon {

/// Nothing for null and for text that is not made of characters. May throw std::bad_alloc.
std::optional<std::string> WideToUtf8(const wchar_t* wide);

/// Bytes that make no character become U+FFFD. May throw std::bad_alloc.
std::wstring Utf8ToWide(std::string_view text);

} // namespace zrtmon
