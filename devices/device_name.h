/// The names of ports that are real devices: "usb:..." and "tcp:...".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zrtmon::devices {

inline constexpr uint16_t kRawTcpPort = 9100;
inline constexpr uint32_t kDefaultDrainMs = 30000;

/// A port name taken apart.
struct CDeviceName {
    enum class Kind { Usb, Tcp };
    Kind kind = Kind::Usb;
    std::string path; ///< of a USB printer's device; empty: found by its serial number, or the only one
    std::string host; ///< of a network printer: a name, or an address without brackets
    uint16_t port = kRawTcpPort;
    std::string serial;     ///< USB: whose printer is meant; TCP: what the device-ID control returns
    bool halfCloses = true; ///< TCP: the end of a document is a half-close
    uint32_t drainMs = kDefaultDrainMs; ///< how long the end of a document waits for the last bytes to leave
};

/// Whether the name begins with "usb:" or "tcp:", case-insensitively, whatever follows.
bool IsDeviceName(std::wstring_view text);

/// Reads "usb:", "usb:PATH", "usb:serial=SN", "tcp:HOST", "tcp:HOST:PORT" or "tcp:[IPV6]:PORT", each followed
/// by
/// ",OPTION=VALUE" as often as wanted. std::nullopt for a bad name, with one line in *problem that says what
/// is wrong and what would do. Any thread.
std::optional<CDeviceName> ParseDeviceName(std::wstring_view text, std::string* problem);

} // namespace zrtmon::devices
