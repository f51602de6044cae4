#include <algorithm>
#include <iterator>
#include <memory>

#include "host/commands/commands.h"
#include "host/commands/installation.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

struct CInstallArguments {
    std::string name = kMonitorName;
    std::string library = kMonitorLibrary;
};

struct CErrorWords {
    DWORD error;
    ExitStatus status;
    const char* words;
};

constexpr CErrorWords kErrors[] = {
    {ERROR_ACCESS_DENIED, ExitStatus::NoPermission,
     "requires an administrator: run it from an elevated prompt"},
    {ERROR_NOT_SUPPORTED, ExitStatus::NoDevice,
     "not applicable: no language monitors on this system; zrtctl hosts the library itself"},
    {ERROR_MOD_NOT_FOUND, ExitStatus::NoInput,
     "the library is not in the system folder: copy it there first"},
    {ERROR_BAD_EXE_FORMAT, ExitStatus::BadData,
     "the library has another architecture: use the one from the package for this system (x64 or x86)"},
    {ERROR_EXE_MACHINE_TYPE_MISMATCH, ExitStatus::NoDevice,
     "this program is 32-bit but the system's spooler is 64-bit: use the x64 package"},
    {RPC_S_SERVER_UNAVAILABLE, ExitStatus::NoDevice,
     "the spooler is not running: start the service \"Print Spooler\""},
    {ERROR_UNKNOWN_PRINT_MONITOR, ExitStatus::NoInput, "no monitor with that name is registered"},
    {ERROR_PRINT_MONITOR_ALREADY_INSTALLED, ExitStatus::Busy,
     "a monitor with that name is already registered: uninstall it first"},
    {ERROR_PRINT_MONITOR_IN_USE, ExitStatus::Busy,
     "a printer uses the monitor: remove its driver first, or restart the spooler"},
};

[[noreturn]] void Refuse(const std::string& what, DWORD error)
{
    const auto* row = std::find_if(std::begin(kErrors), std::end(kErrors),
                                   [error](const CErrorWords& each) { return each.error == error; });
    if (row == std::end(kErrors)) {
        throw CHostError(ExitStatus::NoDevice, what + ": system error " + std::to_string(error));
    }
    throw CHostError(row->status, what + ": " + row->words + " (system error " + std::to_string(error) + ')');
}

ExitStatus Install(const CInstallArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const DWORD error =
        environment.printSystem->AddMonitor(WideFromUtf8(arguments.name), WideFromUtf8(arguments.library));
    if (error != ERROR_SUCCESS) {
        Refuse("install " + Printable(arguments.library), error);
    }
    CMonitorEntry entry;
    const DWORD listError = FindMonitor(*environment.printSystem, arguments.name, &entry);
    if (listError == ERROR_UNKNOWN_PRINT_MONITOR) {
        throw CHostError(ExitStatus::NoDevice, "install " + Printable(arguments.library) +
                                                   ": the spooler accepted it but does not list it");
    }
    if (listError != ERROR_SUCCESS) {
        Refuse("install " + Printable(arguments.library) +
                   ": the spooler accepted it, but its monitors cannot be listed",
               listError);
    }
    console.Answer("registered \"" + Printable(arguments.name) + "\" with " +
                   Printable(Utf8FromWide(entry.library)) + " for " +
                   Printable(Utf8FromWide(entry.environment)) + "; nothing was copied");
    return ExitStatus::Done;
}

ExitStatus Uninstall(const CInstallArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const DWORD error = environment.printSystem->RemoveMonitor(WideFromUtf8(arguments.name));
    if (error != ERROR_SUCCESS) {
        Refuse("uninstall \"" + Printable(arguments.name) + '"', error);
    }
    console.Answer("unregistered \"" + Printable(arguments.name) +
                   "\"; its library stays in the system folder");
    return ExitStatus::Done;
}

COption NameOption(CInstallArguments& arguments)
{
    return {.name = "--name",
            .target = &arguments.name,
            .help = "Name of the monitor in the drivers' LanguageMonitor entry",
            .form = "NAME"};
}

} // namespace

DWORD FindMonitor(IPrintSystem& system, const std::string& name, CMonitorEntry* entry)
{
    std::vector<CMonitorEntry> monitors;
    if (const DWORD error = system.ListMonitors(&monitors)) {
        return error;
    }
    const std::wstring wanted = WideFromUtf8(name);
    const auto found = std::find_if(monitors.begin(), monitors.end(), [&wanted](const CMonitorEntry& each) {
        return lstrcmpiW(each.name.c_str(), wanted.c_str()) == 0;
    });
    if (found == monitors.end()) {
        return ERROR_UNKNOWN_PRINT_MONITOR;
    }
    *entry = *found;
    return ERROR_SUCCESS;
}

CCommand InstallCommand()
{
    const auto arguments = std::make_shared<CInstallArguments>();
    return {.name = "install",
            .help = "Register the monitor with the system's spooler (Windows)",
            .options = {NameOption(*arguments),
                        {.name = "--library",
                         .target = &arguments->library,
                         .help = "File name of the library in the system folder",
                         .form = "FILE"}},
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return Install(*arguments, environment, console);
            }};
}

CCommand UninstallCommand()
{
    const auto arguments = std::make_shared<CInstallArguments>();
    return {.name = "uninstall",
            .help = "Remove the monitor from the system's spooler (Windows)",
            .options = {NameOption(*arguments)},
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return Uninstall(*arguments, environment, console);
            }};
}

} // namespace zrtmon::host
