#include "platform/posix/utf8.h"

#include <cstddef>
#include <cstdint>

namespace zrtmon {

namespace {

constexpr uint32_t kLastCodePoint = 0x10FFFF;
constexpr wchar_t kReplacement = 0xFFFD;

bool IsCodePoint(uint32_t code) { return code <= kLastCodePoint && (code < 0xD800 || code > 0xDFFF); }

void AppendUtf8(std::string& text, uint32_t code)
{
    const auto append = [&text](uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        append(code);
        return;
    }
    if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        append(0xE0 | code >> 12);
        append(0x80 | (code >> 6 & 0x3F));
    } else {
        append(0xF0 | code >> 18);
        append(0x80 | (code >> 12 & 0x3F));
        append(0x80 | (code >> 6 & 0x3F));
    }
    append(0x80 | (code & 0x3F));
}

/// How many bytes follow a first byte, and the bits of the character that it holds itself.
struct Lead {
    size_t more;
    uint32_t bits;
};

std::optional<Lead> LeadOf(unsigned char byte)
{
    if (byte < 0x80) {
        return Lead{0, byte};
    }
    if ((byte & 0xE0) == 0xC0) {
        return Lead{1, byte & 0x1Fu};
    }
    if ((byte & 0xF0) == 0xE0) {
        return Lead{2, byte & 0x0Fu};
    }
    if ((byte & 0xF8) == 0xF0) {
        return Lead{3, byte & 0x07u};
    }
    return std::nullopt;
}

/// The character at the start of text, which is made shorter by it.
wchar_t TakeCharacter(std::string_view& text)
{
    const std::optional<Lead> lead = LeadOf(static_cast<unsigned char>(text[0]));
    text.remove_prefix(1);
    if (!lead || text.size() < lead->more) {
        return kReplacement;
    }
    uint32_t code = lead->bits;
    for (size_t index = 0; index < lead->more; ++index) {
        code = code << 6 | (static_cast<unsigned char>(text[index]) & 0x3Fu);
    }
    text.remove_prefix(lead->more);
    return IsCodePoint(code) ? static_cast<wchar_t>(code) : kReplacement;
}

} // namespace

std::optional<std::string> WideToUtf8(const wchar_t* wide)
{
    if (!wide) {
        return std::nullopt;
    }
    std::string text;
    for (; *wide != L'\0'; ++wide) {
        const auto code = static_cast<uint32_t>(*wide);
        if (!IsCodePoint(code)) {
            return std::nullopt;
        }
        AppendUtf8(text, code);
    }
    return text;
}

std::wstring Utf8ToWide(std::string_view text)
{
    std::wstring wide;
    while (!text.empty()) {
        wide.push_back(TakeCharacter(text));
    }
    return wide;
}

} // namespace zrtmon
