/// The language monitor's library, loaded as the spooler loads it.
#pragma once

#include <filesystem>

#include "host/environment.h"
#include "platform/win32.h"

namespace zrtmon::host {

/// Holds the loaded library and its entry-point table. Nothing of the table may be called once it is gone.
class CMonitorLibrary {
public:
    /// Loads the file given, or, when that is empty, looks beside the program, in libexec/zrtmon next to
    /// the program's folder and in the system folder. Throws CHostError (NoDevice) when there is none or it
    /// exports no monitor.
    CMonitorLibrary(const std::filesystem::path& file, const CHostEnvironment& environment);
    ~CMonitorLibrary();
    CMonitorLibrary(const CMonitorLibrary&) = delete;
    CMonitorLibrary& operator=(const CMonitorLibrary&) = delete;

    const MONITOR2& Table() const { return *m_table; }
    /// What the table's functions take as the monitor's handle.
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
