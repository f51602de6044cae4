#include "devices/device_name.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace zrtmon::devices {

namespace {

constexpr std::string_view kUsbPrefix = "usb:";
constexpr std::string_view kTcpPrefix = "tcp:";
constexpr uint32_t kLongestDrainMs = 600000;
constexpr char kForms[] = "write usb:, usb:/dev/usb/lp0, usb:serial=SN, tcp:HOST or tcp:HOST:PORT";

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool HasPrefix(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                      [](char p, char t) { return p == Lower(t); });
}

/// Printable ASCII; std::nullopt for anything else.
std::optional<std::string> Narrow(std::wstring_view text)
{
    std::string narrow;
    for (const wchar_t c : text) {
        if (c < L' ' || c > L'~') {
            return std::nullopt;
        }
        narrow.push_back(static_cast<char>(c));
    }
    return narrow;
}

std::string Quoted(std::string_view text)
{
    std::string quoted = "'";
    quoted.append(text).append("'");
    return quoted;
}

std::vector<std::string_view> SplitAtCommas(std::string_view text)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(comma + 1);
    }
}

template <class Number>
bool ReadNumber(std::string_view text, uint32_t least, uint32_t most, Number* number)
{
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < least ||
        value > most) {
        return false;
    }
    *number = static_cast<Number>(value);
    return true;
}

/// Stores one "option=value". Returns what is wrong with it, empty when nothing is.
std::string TakeOption(std::string_view text, CDeviceName& name)
{
    const bool isTcp = name.kind == CDeviceName::Kind::Tcp;
    const size_t equals = text.find('=');
    const std::string_view option = text.substr(0, equals);
    const std::string_view value = equals == std::string_view::npos ? "" : text.substr(equals + 1);
    if (option == "serial" && !value.empty()) {
        name.serial = value;
        return {};
    }
    if (option == "drain-ms" && ReadNumber(value, 0, kLongestDrainMs, &name.drainMs)) {
        return {};
    }
    if (option == "half-close" && isTcp && ReadNumber(value, 0, 1, &name.halfCloses)) {
        return {};
    }
    return "the device option " + Quoted(text) + " is not valid; write serial=SN" +
           (isTcp ? ", half-close=0|1" : "") + " or drain-ms=0..." + std::to_string(kLongestDrainMs);
}

/// Splits "HOST", "HOST:PORT", "[ADDRESS]" and "[ADDRESS]:PORT"; more than one colon without brackets is an
/// address alone. Returns what is wrong, empty when nothing is.
std::string TakeHost(std::string_view text, CDeviceName& name)
{
    const bool hasBrackets = text.starts_with('[');
    const size_t hostEnd = hasBrackets ? text.find(']')
                           : std::count(text.begin(), text.end(), ':') > 1
                               ? text.size()
                               : std::min(text.find(':'), text.size());
    if (hostEnd == std::string_view::npos) {
        return "the address " + Quoted(text) + " lacks its ']'; write tcp:[ADDRESS]:PORT";
    }
    name.host = hasBrackets ? text.substr(1, hostEnd - 1) : text.substr(0, hostEnd);
    if (name.host.empty()) {
        return "the port tcp: lacks its host; write tcp:HOST or tcp:HOST:PORT";
    }
    const std::string_view rest = text.substr(hostEnd + (hasBrackets ? 1 : 0));
    const bool isPort = rest.starts_with(':') && ReadNumber(rest.substr(1), 1, 65535, &name.port);
    return rest.empty() || isPort
               ? ""
               : "the TCP port in " + Quoted(text) + " is not valid; write a number from 1 to 65535";
}

} // namespace

bool IsDeviceName(std::wstring_view text)
{
    const std::optional<std::string> prefix = Narrow(text.substr(0, kUsbPrefix.size()));
    return prefix && (HasPrefix(*prefix, kUsbPrefix) || HasPrefix(*prefix, kTcpPrefix));
}

std::optional<CDeviceName> ParseDeviceName(std::wstring_view text, std::string* problem)
{
    const std::optional<std::string> narrow = Narrow(text);
    if (!narrow || !IsDeviceName(text)) {
        *problem =
            std::string(narrow ? "the port is not a device; " : "a device's port is plain ASCII; ") + kForms;
        return std::nullopt;
    }
    CDeviceName name;
    name.kind = HasPrefix(*narrow, kTcpPrefix) ? CDeviceName::Kind::Tcp : CDeviceName::Kind::Usb;
    const bool isTcp = name.kind == CDeviceName::Kind::Tcp;
    std::vector<std::string_view> parts = SplitAtCommas(std::string_view(*narrow).substr(kUsbPrefix.size()));
    // A USB printer's name may begin with an option, "usb:serial=SN".
    const bool hasPlace = isTcp || parts[0].empty() || parts[0].starts_with('/');
    if (hasPlace) {
        name.path = isTcp ? "" : parts[0];
        *problem = isTcp ? TakeHost(parts[0], name) : "";
        parts.erase(parts.begin());
    }
    for (size_t i = 0; i < parts.size() && problem->empty(); ++i) {
        *problem = TakeOption(parts[i], name);
    }
    if (problem->empty() && !name.path.empty() && !name.serial.empty()) {
        *problem = "the port names its device twice: give " + Quoted(name.path) + " or serial=" + name.serial;
    }
    return problem->empty() ? std::optional(name) : std::nullopt;
}

} // namespace zrtmon::devices
