/// The language monitor's library, loaded as the spooler loads it.
#pragma once

#include <filesystem>

#include "host/environment.h"
#include "platform/win32.h"

namespace zrtmon::host {

/// Owns the loaded library. Its entry-point table must not be used after the object is destroyed.
class CMonitorLibrary {
public:
    /// Loads the file, or, if the path is empty, searches the program's folder, ../libexec/zrtmon and the
    /// system folder. Throws CHostError (NoDevice) if there is no library or it does not export a monitor.
    CMonitorLibrary(const std::filesystem::path& file, const CHostEnvironment& environment);
    ~CMonitorLibrary();
    CMonitorLibrary(const CMonitorLibrary&) = delete;
    CMonitorLibrary& operator=(const CMonitorLibrary&) = delete;

    const MONITOR2& Table() const { return *m_table; }
    /// The monitor handle for the table's functions.
    HANDLE Monitor() const { return m_monitor; }

private:
    /// Owns a loaded module; may be empty.
    class CModule {
    public:
        CModule() = default;
        ~CModule();
        CModule(const CModule&) = delete;
        CModule& operator=(const CModule&) = delete;

        InitializeMonitor Load(const std::filesystem::path& file);

    private:
        HMODULE m_module = nullptr;
    };

    CModule m_module;
    MONITORINIT m_init{};
    HANDLE m_monitor = nullptr;
    MONITOR2* m_table = nullptr;
};

} // namespace zrtmon::host
