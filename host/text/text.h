/// Conversions between the command line's UTF-8 and the spooler's wide text, and text made fit to show.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zrtmon::host {

/// Bytes that are no UTF-8 become U+FFFD, one for each.
std::wstring WideFromUtf8(std::string_view text);
/// Code units that are no character become U+FFFD.
std::string Utf8FromWide(std::wstring_view text);

/// The text with CR LF as LF, and every other control byte (LF and TAB apart) as \xNN, so that what a
/// printer sends cannot steer a terminal. Bytes above 0x7F pass.
std::string Printable(std::string_view text);

/// As Printable, and bytes that are no UTF-8 as \xNN too: fit for JSON.
std::string PrintableUtf8(std::string_view text);

/// Two lower-case digits for each byte, separated by blanks.
std::string Hex(std::string_view bytes);

/// "1.250" for 1250.
std::string Seconds(uint64_t milliseconds);

/// "512 bytes", "64 KiB", "1.5 MiB".
std::string ByteCount(uint64_t bytes);

/// The text with blanks behind it up to that many columns; longer text stays as it is.
std::string Padded(std::string text, size_t columns);

/// Compares without regard to the letter case of ASCII letters.
bool EqualsIgnoringCase(std::string_view left, std::string_view right);
std::string LowerCase(std::string_view text);

/// The number that the text begins with, nothing when it begins with none.
std::optional<int> LeadingNumber(std::string_view text);

/// Text without the blanks around it.
std::string_view Trimmed(std::string_view text);

} // namespace zrtmon::host
