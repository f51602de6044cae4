/// Where the service's objects are on the bus.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zrtmon::service {

inline constexpr char kBusName[] = "org.zrtmon";
inline constexpr char kManagerPath[] = "/org/zrtmon";

/// "/org/zrtmon/printers/" and the name, with every byte that is not [A-Za-z0-9] as _xx.
std::string PrinterPath(std::string_view name);
/// "/org/zrtmon/jobs/12".
std::string JobPath(uint64_t id);

} // namespace zrtmon::service
