/// IEEE 1284 device IDs: "MFG:...;MDL:...;SN:...;".
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace zrtmon::devices {

/// A device ID is no longer, its two length bytes included.
inline constexpr size_t kLongestIdBytes = 1024;

/// The text of a device ID as a device reports it: two length bytes, which count themselves and come in
/// either order, then text. Takes no more than size bytes, and ends at a zero byte.
std::string DeviceIdText(const uint8_t* data, size_t size);

/// The value of the first of these keys that the ID holds, case-insensitively; empty when it holds none.
std::string DeviceIdField(std::string_view id, std::initializer_list<std::string_view> keys);

} // namespace zrtmon::devices
