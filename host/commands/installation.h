/// The monitor as the machine's own print system knows it.
#pragma once

#include <optional>
#include <string>

#include "platform/print_system.h"

namespace zrtmon::host {

/// What driver packages name the monitor in their LanguageMonitor directive.
inline constexpr char kMonitorName[] = "ZRT Card Printer Monitor";
inline constexpr char kMonitorLibrary[] = "zrtmon.dll";

/// The entry of that name (UTF-8, in any letter case), nothing when the print system lists none.
std::optional<CMonitorEntry> FindMonitor(IPrintSystem& system, const std::string& name);

} // namespace zrtmon::host
