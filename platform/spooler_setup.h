/// What an installer needs of the machine's spooler besides registering a monitor (platform/print_system.h).
#pragma once

#include <string>

#include "platform/win32.h"

namespace zrtmon {

/// Every function returns 0 or the system's error: 5 no right to do this, 50 this system has no such
/// spooler, 126 its print library cannot be used, 1722 the spooler is not running. One thread at a time.
class ISpoolerSetup {
public:
    virtual ~ISpoolerSetup() = default;

    /// 3008 if a printer driver, for whatever architecture, names the monitor.
    virtual DWORD CheckUnused(const std::wstring& monitor) = 0;
    /// 3009 if a job is being printed on a printer of this machine.
    virtual DWORD CheckIdle() = 0;

    /// Stops the spooler's service and waits until it has stopped: 1051 if services that depend on it are
    /// running, 1053 if it is still running after a minute.
    virtual DWORD StopSpooler() = 0;
    /// Starts the service and waits until it is running: 1053 if it is not after a minute, 1058 if it is
    /// disabled.
    virtual DWORD StartSpooler() = 0;
};

/// That of this machine.
ISpoolerSetup& MachineSpoolerSetup();

} // namespace zrtmon
