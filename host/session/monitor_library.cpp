#include "host/session/monitor_library.h"

#include "host/exit_status.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/spooler_admin.h"

namespace zrtmon::host {
namespace {

constexpr char kInitializeName[] = "InitializePrintMonitor2";

std::filesystem::path FindLibrary(const CHostEnvironment& environment)
{
    const std::filesystem::path folders[] = {environment.programFolder,
                                             environment.programFolder.parent_path() / "libexec" / "zrtmon",
                                             environment.systemFolder};
    std::string searched;
    for (const std::filesystem::path& folder : folders) {
        if (folder.empty()) { // would be the current folder, which anybody may fill
            continue;
        }
        std::error_code error;
        if (std::filesystem::exists(folder / environment.libraryFile, error)) {
            return folder / environment.libraryFile;
        }
        searched += (searched.empty() ? "" : " or ") + DisplayPath(folder);
    }
    throw CHostError(ExitStatus::NoDevice, environment.libraryFile + ": not found in " + searched +
                                               "; name the monitor's library with --library");
}

} // namespace

CMonitorLibrary::CMonitorLibrary(const std::filesystem::path& file, const CHostEnvironment& environment)
{
    InitializeMonitor initialize = environment.initialize;
    if (!initialize) {
        initialize = m_module.Load(file.empty() ? FindLibrary(environment) : file);
    }
    m_init.cbSize = sizeof m_init;
    m_init.bLocal = TRUE;
    m_table = initialize(&m_init, &m_monitor);
    if (!m_table) {
        throw CHostError(ExitStatus::NoDevice, "the print monitor does not start (system error " +
                                                   std::to_string(GetLastError()) + ')');
    }
}

CMonitorLibrary::~CMonitorLibrary()
{
    if (m_table->pfnShutdown) {
        m_table->pfnShutdown(m_monitor);
    }
}

CMonitorLibrary::CModule::~CModule()
{
    if (m_module) {
        FreeLibrary(m_module);
    }
}

InitializeMonitor CMonitorLibrary::CModule::Load(const std::filesystem::path& file)
{
    // Without a folder in the name, the system's loader would search its own folders instead.
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(file, error);
    m_module = LoadLibraryW(WidePath(whole).c_str());
    if (!m_module) {
        throw CHostError(ExitStatus::NoDevice, DisplayPath(file) +
                                                   ": cannot be loaded as a library (system error " +
                                                   std::to_string(GetLastError()) + ')');
    }
    if (!spooler::RedirectSpoolerImports(m_module)) {
        throw CHostError(ExitStatus::NoDevice,
                         DisplayPath(file) +
                             ": imports print-spooler functions that zrtctl does not provide");
    }
    const FARPROC entry = GetProcAddress(m_module, kInitializeName);
    if (!entry) {
        throw CHostError(ExitStatus::NoDevice, DisplayPath(file) +
                                                   ": is not a print monitor: it does not export " +
                                                   kInitializeName);
    }
    // Through void(*)(), which may be cast to any function type: systems declare FARPROC differently.
    return reinterpret_cast<InitializeMonitor>(reinterpret_cast<void (*)()>(entry));
}

} // namespace zrtmon::host
