#include <algorithm>
#include <iterator>
#include <memory>

#include "host/commands/command.h"
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
    {ERROR_ACCESS_DENIED, ExitStatus::NoPermission, "this needs an administrator: start an elevated prompt"},
    {ERROR_NOT_SUPPORTED, ExitStatus::NoDevice,
     "this system's print service has no language monitors; zrtctl itself hosts the library here"},
    {ERROR_MOD_NOT_FOUND, ExitStatus::NoInput, "not in the system folder: copy it there first"},
    {ERROR_BAD_EXE_FORMAT, ExitStatus::BadData,
     "no library for this architecture: take the one from the package of this system (x64 or x86)"},
    {ERROR_EXE_MACHINE_TYPE_MISMATCH, ExitStatus::NoDevice,
     "this program is 32-bit and the system's spooler 64-bit: use the x64 package"},
    {RPC_S_SERVER_UNAVAILABLE, ExitStatus::NoDevice,
     "the spooler is not running: start the service \"Print Spooler\""},
    {ERROR_UNKNOWN_PRINT_MONITOR, ExitStatus::NoInput, "no monitor of that name is registered"},
    {ERROR_PRINT_MONITOR_ALREADY_INSTALLED, ExitStatus::Busy,
     "a monitor of that name is registered already: uninstall it first"},
    {ERROR_PRINT_MONITOR_IN_USE, ExitStatus::Busy,
     "a printer uses the monitor: remove its driver first, or restart the spooler"},
};

[[noreturn]] void Refuse(const std::string& what, DWORD error)
{
    const auto* row = std::find_if(std::begin(kErrors), std::end(kErrors),
                                   [error](const CErrorWords& each) { return each.error == error; });
    if (row == std::end(kErrors)) {
        throw CHostError(ExitStatus::NoDevice, what + ": error " + std::to_string(error));
    }
    throw CHostError(row->status, what + ": " + row->words + " (error " + std::to_string(error) + ')');
}

ExitStatus Install(const CInstallArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const DWORD error =
        environment.printSystem->AddMonitor(WideFromUtf8(arguments.name), WideFromUtf8(arguments.library));
    if (error != ERROR_SUCCESS) {
        Refuse("install " + Printable(arguments.library), error);
    }
    const auto entry = FindMonitor(*environment.printSystem, arguments.name);
    if (!entry) {
        throw CHostError(ExitStatus::NoDevice, "install " + Printable(arguments.library) +
                                                   ": the spooler took it and does not list it");
    }
    console.Answer("registered \"" + Printable(arguments.name) + "\" with " +
                   Printable(Utf8FromWide(entry->library)) + " for " +
                   Printable(Utf8FromWide(entry->environment)) + "; nothing was copied");
    return ExitStatus::Done;
}

ExitStatus Uninstall(const CInstallArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const DWORD error = environment.printSystem->RemoveMonitor(WideFromUtf8(arguments.name));
    if (error != ERROR_SUCCESS) {
        Refuse("uninstall \"" + Printable(arguments.name) + '"', error);
    }
    console.Answer("took \"" + Printable(arguments.name) +
                   "\" off the spooler's list; its library stays in the system folder");
    return ExitStatus::Done;
}

using Action = ExitStatus (*)(const CInstallArguments&, CHostEnvironment&, CConsole&);

CLI::App* AddCommandFor(CLI::App& line, RunCommand* chosen, const char* name, const char* help, Action action,
                        const std::shared_ptr<CInstallArguments>& arguments)
{
    CLI::App* command = line.add_subcommand(name, help);
    command->add_option("--name", arguments->name, "Name that drivers know the monitor by")
        ->capture_default_str();
    command->callback([arguments, action, chosen] {
        *chosen = [arguments, action](CHostEnvironment& environment, CConsole& console) {
            return action(*arguments, environment, console);
        };
    });
    return command;
}

} // namespace

std::optional<CMonitorEntry> FindMonitor(IPrintSystem& system, const std::string& name)
{
    std::vector<CMonitorEntry> monitors;
    system.ListMonitors(&monitors);
    const std::wstring wanted = WideFromUtf8(name);
    const auto found = std::find_if(monitors.begin(), monitors.end(), [&wanted](const CMonitorEntry& entry) {
        return lstrcmpiW(entry.name.c_str(), wanted.c_str()) == 0;
    });
    return found != monitors.end() ? std::optional(*found) : std::nullopt;
}

void AddInstallCommands(CLI::App& line, RunCommand* chosen)
{
    const auto arguments = std::make_shared<CInstallArguments>();
    AddCommandFor(line, chosen, "install", "Register the monitor with the system's spooler (Windows)",
                  Install, arguments)
        ->add_option("--library", arguments->library, "Its file's name in the system folder")
        ->capture_default_str();
    AddCommandFor(line, chosen, "uninstall", "Take the monitor off the system's spooler (Windows)", Uninstall,
                  arguments);
}

} // namespace zrtmon::host
