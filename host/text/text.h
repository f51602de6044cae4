/// Conversions between the command line's UTF-8 and the spooler's wide text, and text for people.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zrtmon::host {

/// Each byte that is not valid UTF-8 becomes U+FFFD.
std::wstring WideFromUtf8(std::string_view text);
/// Each code unit that is not a character becomes U+FFFD.
std::string Utf8FromWide(std::wstring_view text);

/// The text with CR LF as LF, and every other control byte (LF and TAB apart) as \xNN, so that a printer
/// cannot control the terminal. Bytes above 0x7F are kept.
std::string Printable(std::string_view text);

/// As Printable, for what the user typed: the value of an option "...-password=" of a port name is "**", up
/// to the ',' that ends it.
std::string PrintableInput(std::string_view text);
/// Only that, for a text that is printable already.
std::string WithoutPasswords(std::string text);

/// As Printable, with bytes that are not valid UTF-8 as \xNN too: fit for JSON.
std::string PrintableUtf8(std::string_view text);

/// Two lower-case digits for each byte, separated by spaces.
std::string Hex(std::string_view bytes);

/// "1.250" for 1250.
std::string Seconds(uint64_t milliseconds);

/// "512 bytes", "64 KiB", "1.5 MiB".
std::string ByteCount(uint64_t bytes);

/// The text followed by spaces up to that many columns; longer text is not changed.
std::string Padded(std::string text, size_t columns);

/// Compares case-insensitively; ASCII letters only.
bool EqualsIgnoringCase(std::string_view left, std::string_view right);
std::string LowerCase(std::string_view text);

/// The number that the text begins with; std::nullopt if it does not begin with one.
std::optional<int> LeadingNumber(std::string_view text);

/// The text without leading and trailing white space.
std::string_view Trimmed(std::string_view text);

} // namespace zrtmon::host
