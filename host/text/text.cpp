#include "host/text/text.h"

#include <algorithm>
#include <charconv>

namespace zrtmon::host {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCharacter = 0x10FFFF;
constexpr char kHexDigits[] = "0123456789abcdef";

bool IsSurrogate(char32_t code) { return code >= 0xD800 && code <= 0xDFFF; }

struct CDecoded {
    char32_t code;
    size_t size; ///< bytes of the sequence; 0 if the first byte does not begin one
};

struct CSequence {
    unsigned char mask; ///< bits of the lead byte that determine the kind
    unsigned char lead; ///< their value
    uint32_t size;      ///< bytes in all
    char32_t smallest;  ///< below it the sequence is overlong
};

constexpr CSequence kSequences[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

CDecoded DecodeAs(const CSequence& kind, std::string_view text)
{
    if (text.size() < kind.size) {
        return {kReplacement, 0};
    }
    char32_t code = static_cast<unsigned char>(text[0]) & static_cast<unsigned char>(~kind.mask);
    for (size_t i = 1; i < kind.size; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return {kReplacement, 0};
        }
        code = code << 6 | (byte & 0x3Fu);
    }
    const bool valid = code >= kind.smallest && code <= kLastCharacter && !IsSurrogate(code);
    return valid ? CDecoded{code, kind.size} : CDecoded{kReplacement, 0};
}

CDecoded Decode(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text[0]);
    for (const CSequence& kind : kSequences) {
        if ((first & kind.mask) == kind.lead) {
            return DecodeAs(kind, text);
        }
    }
    return {kReplacement, 0};
}

void AppendUtf8(std::string& text, char32_t code)
{
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const size_t size = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    text += static_cast<char>(kSequences[size - 1].lead | code >> (6 * (size - 1)));
    for (size_t left = size - 1; left-- > 0;) {
        text += static_cast<char>(0x80 | (code >> (6 * left) & 0x3F));
    }
}

void AppendWide(std::wstring& text, char32_t code)
{
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
        text += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
        text += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
        return;
    }
    text += static_cast<wchar_t>(code);
}

bool IsPair(std::wstring_view text)
{
    return sizeof(wchar_t) == 2 && text.size() > 1 && (static_cast<unsigned>(text[0]) & 0xFC00) == 0xD800 &&
           (static_cast<unsigned>(text[1]) & 0xFC00) == 0xDC00;
}

char32_t PairCode(std::wstring_view text)
{
    return 0x10000 + ((static_cast<char32_t>(text[0]) & 0x3FF) << 10) +
           (static_cast<char32_t>(text[1]) & 0x3FF);
}

void AppendEscaped(std::string& text, char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    text += "\\x";
    text += kHexDigits[value >> 4];
    text += kHexDigits[value & 15];
}

bool IsControl(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return (value < 0x20 && byte != '\n' && byte != '\t') || value == 0x7F;
}

std::string Escaped(std::string_view text, bool onlyUtf8)
{
    std::string shown;
    while (!text.empty()) {
        const size_t size = onlyUtf8 ? Decode(text).size : 1;
        if (text.starts_with("\r\n")) {
            shown += '\n';
            text.remove_prefix(2);
            continue;
        }
        if (size == 0 || IsControl(text[0])) {
            AppendEscaped(shown, text[0]);
        } else {
            shown += text.substr(0, size);
        }
        text.remove_prefix(std::max<size_t>(size, 1));
    }
    return shown;
}

} // namespace

std::wstring WideFromUtf8(std::string_view text)
{
    std::wstring wide;
    wide.reserve(
        text.size()); // its largest size: text that grows would leave copies that a caller cannot wipe
    while (!text.empty()) {
        const CDecoded next = Decode(text);
        AppendWide(wide, next.code);
        text.remove_prefix(std::max<size_t>(next.size, 1));
    }
    return wide;
}

std::string Utf8FromWide(std::wstring_view text)
{
    std::string narrow;
    while (!text.empty()) {
        const bool pair = IsPair(text);
        char32_t code = pair ? PairCode(text) : static_cast<char32_t>(text[0]);
        if (code > kLastCharacter || IsSurrogate(code)) {
            code = kReplacement;
        }
        AppendUtf8(narrow, code);
        text.remove_prefix(pair ? 2 : 1);
    }
    return narrow;
}

std::string Printable(std::string_view text) { return Escaped(text, false); }

std::string PrintableInput(std::string_view text) { return WithoutPasswords(Printable(text)); }

std::string WithoutPasswords(std::string text)
{
    constexpr std::string_view kOption = "-password=";
    for (size_t at = text.find(kOption); at != std::string::npos; at = text.find(kOption, at)) {
        at += kOption.size();
        const size_t end = std::min(text.find(',', at), text.size());
        text.replace(at, end - at, end > at ? "**" : "");
    }
    return text;
}

std::string PrintableUtf8(std::string_view text) { return Escaped(text, true); }

std::string Hex(std::string_view bytes)
{
    std::string digits;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        digits += digits.empty() ? "" : " ";
        digits += kHexDigits[value >> 4];
        digits += kHexDigits[value & 15];
    }
    return digits;
}

std::string Seconds(uint64_t milliseconds)
{
    const std::string fraction = std::to_string(1000 + milliseconds % 1000);
    return std::to_string(milliseconds / 1000) + '.' + fraction.substr(1);
}

std::string ByteCount(uint64_t bytes)
{
    constexpr uint64_t kKibi = 1024;
    if (bytes < kKibi) {
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    }
    const bool large = bytes >= kKibi * kKibi;
    const uint64_t unit = large ? kKibi * kKibi : kKibi;
    const uint64_t tenths = (bytes * 10 + unit / 2) / unit;
    const std::string fraction = tenths % 10 == 0 ? "" : '.' + std::to_string(tenths % 10);
    return std::to_string(tenths / 10) + fraction + (large ? " MiB" : " KiB");
}

std::string Padded(std::string text, size_t columns)
{
    text.resize(std::max(columns, text.size()), ' ');
    return text;
}

std::string LowerCase(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right)
{
    return LowerCase(left) == LowerCase(right);
}

std::optional<int> LeadingNumber(std::string_view text)
{
    int number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    return end.ec == std::errc() ? std::optional<int>(number) : std::nullopt;
}

std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

} // namespace zrtmon::host
