/// The monitor in the machine's own print system.
#pragma once

#include <optional>
#include <string>

#include "platform/print_system.h"

namespace zrtmon::host {

/// The name that driver packages use in their LanguageMonitor directive.
inline constexpr char kMonitorName[] = "ZRT Card Printer Monitor";
inline constexpr char kMonitorLibrary[] = "zrtmon.dll";

/// The entry with that name (UTF-8, case-insensitive); std::nullopt if the print system lists none.
std::optional<CMonitorEntry> FindMonitor(IPrintSystem& system, const std::string& name);

} // namespace zrtmon::host
