#include "service/backend/device_uri.h"

#include <charconv>

namespace zrtmon::backend {
namespace {

constexpr std::string_view kScheme = "zrt:";
constexpr std::string_view kHoldAfter = "hold-after=";
constexpr int64_t kLongestHoldMs = 366LL * 24 * 3600 * 1000;

struct CUnit {
    std::string_view word;
    int64_t ms;
};

constexpr CUnit kUnits[] = {{"", 1000}, {"s", 1000}, {"min", 60'000}, {"h", 3'600'000}};

bool IsUnreserved(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

std::string Decoded(std::string_view text)
{
    std::string decoded;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded += text[at];
            continue;
        }
        uint8_t byte = 0;
        const std::string_view digits = text.substr(at + 1, 2);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || error != std::errc{} || end != digits.data() + digits.size()) {
            throw CBadArgument("a '%' in the device URI is not followed by two hexadecimal digits");
        }
        decoded += static_cast<char>(byte);
        at += 2;
    }
    return decoded;
}

int64_t HoldAfterMs(std::string_view text)
{
    int64_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view word = text.substr(static_cast<size_t>(end - text.data()));
    for (const CUnit& unit : kUnits) {
        if (error == std::errc{} && word == unit.word && number >= 0 && number <= kLongestHoldMs / unit.ms) {
            return number * unit.ms;
        }
    }
    throw CBadArgument("hold-after=" + std::string(text) +
                       " in the device URI is not a time; give for example 90s, 15min or 2h, or 0 for never");
}

void ReadOption(std::string_view option, CDeviceUri& uri)
{
    if (!option.starts_with(kHoldAfter)) {
        throw CBadArgument("option '" + std::string(option) +
                           "' of the device URI is not known; only hold-after=TIME is");
    }
    uri.holdAfterMs = HoldAfterMs(option.substr(kHoldAfter.size()));
}

} // namespace

CDeviceUri ReadDeviceUri(std::string_view uri)
{
    if (!uri.starts_with(kScheme)) {
        throw CBadArgument("the device URI is not one of this backend; give zrt:/NAME");
    }
    std::string_view rest = uri.substr(kScheme.size());
    const size_t question = rest.find('?');
    std::string_view name = rest.substr(0, question);
    while (name.starts_with('/')) { // zrt:/NAME, and zrt:///NAME as some programs write it
        name.remove_prefix(1);
    }
    CDeviceUri read;
    read.printer = Decoded(name);
    if (read.printer.empty()) {
        throw CBadArgument("the device URI names no printer; give zrt:/NAME");
    }
    if (question != std::string_view::npos) {
        ReadOption(rest.substr(question + 1), read);
    }
    return read;
}

std::string DeviceUriOf(std::string_view printer)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string uri = std::string(kScheme) + '/';
    for (const char c : printer) {
        if (IsUnreserved(c)) {
            uri += c;
            continue;
        }
        const auto byte = static_cast<uint8_t>(c);
        uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return uri;
}

} // namespace zrtmon::backend
