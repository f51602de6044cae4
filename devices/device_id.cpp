#include "devices/device_id.h"

#include <algorithm>

namespace zrtmon::devices {

namespace {

constexpr size_t kLengthBytes = 2;

bool IsSame(std::string_view a, std::string_view b)
{
    const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return upper(x) == upper(y); });
}

std::string_view Trimmed(std::string_view text)
{
    const size_t start = std::min(text.find_first_not_of(" \r\n\t"), text.size());
    return text.substr(start, text.find_last_not_of(" \r\n\t") + 1 - start);
}

} // namespace

std::string DeviceIdText(const uint8_t* data, size_t size)
{
    if (size <= kLengthBytes) {
        return {};
    }
    size_t length = static_cast<size_t>(data[0]) << 8 | data[1];
    if (length <= kLengthBytes || length > size) {
        length = static_cast<size_t>(data[1]) << 8 | data[0];
    }
    if (length <= kLengthBytes || length > size) {
        length = size;
    }
    const auto* text = reinterpret_cast<const char*>(data) + kLengthBytes;
    return {text, std::find(text, text + length - kLengthBytes, '\0')};
}

std::string DeviceIdField(std::string_view id, std::initializer_list<std::string_view> keys)
{
    for (const std::string_view key : keys) {
        for (std::string_view rest = id; !rest.empty();) {
            const std::string_view field = rest.substr(0, rest.find(';'));
            rest.remove_prefix(std::min(field.size() + 1, rest.size()));
            const size_t colon = field.find(':');
            if (colon != std::string_view::npos && IsSame(Trimmed(field.substr(0, colon)), key)) {
                return std::string(Trimmed(field.substr(colon + 1)));
            }
        }
    }
    return {};
}

} // namespace zrtmon::devices
