/// The monitor in the machine's own print system.
#pragma once

#include <string>

#include "platform/print_system.h"

namespace zrtmon::host {

/// The name that driver packages use in their LanguageMonitor directive.
inline constexpr char kMonitorName[] = "ZRT Card Printer Monitor";
inline constexpr char kMonitorLibrary[] = "zrtmon.dll";

/// The entry with that name (UTF-8, case-insensitive). Returns 0 or the print system's error: 3000 if it
/// lists none of that name.
DWORD FindMonitor(IPrintSystem& system, const std::string& name, CMonitorEntry* entry);

} // namespace zrtmon::host
