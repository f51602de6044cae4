/// The machine's own print system, for whoever installs the monitor there and looks after it. The spooler
/// that the command line hosts is another one (platform/spooler_admin.h).
#pragma once

#include <string>
#include <vector>

#include "platform/win32.h"

namespace zrtmon {

/// A monitor as the print system lists it (MONITOR_INFO_2).
struct CMonitorEntry {
    std::wstring name;
    std::wstring environment; ///< the architecture that it is for: "Windows x64"
    std::wstring library;     ///< file name in the system folder
};

/// Something that a support desk wants to know. UTF-8.
struct CDiagnostic {
    std::string topic;
    std::string value;
    std::string advice; ///< what would mend it; empty: nothing is wrong
};

/// Errors are those of the print system: 5 no right to do this, 50 the system has no language monitors, 126
/// the library is not in the system folder, 193 it is for another architecture, 216 this program is (a 32-bit
/// one on a 64-bit system), 1722 the spooler is not running, 3000 no such monitor, 3006 there already, 3008
/// in use.
class IPrintSystem {
public:
    virtual ~IPrintSystem() = default;

    /// Registers the library, which lies in the system folder, under the name. The spooler loads it. Returns
    /// 0 or an error.
    virtual DWORD AddMonitor(const std::wstring& name, const std::wstring& library) = 0;
    virtual DWORD RemoveMonitor(const std::wstring& name) = 0;
    virtual DWORD ListMonitors(std::vector<CMonitorEntry>* monitors) = 0;

    /// Whether the path begins with a drive letter that only this user's session has: the spooler does not
    /// see it.
    virtual bool IsMappedDrive(const std::wstring& path) = 0;

    /// The system and the printers that use the monitor of that name: the target alone (a printer's name) or,
    /// when that is empty, all that can be found. Where printers are device nodes, only the system.
    virtual std::vector<CDiagnostic> Examine(const std::wstring& monitor, const std::string& target) = 0;
};

/// That of this machine. One thread at a time.
IPrintSystem& MachinePrintSystem();

} // namespace zrtmon
