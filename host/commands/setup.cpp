#include "host/commands/commands.h"
#include "host/commands/installation.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

struct CStep {
    const char* name;
    const char* help;
    DWORD (*run)(CHostEnvironment& environment); ///< returns 0 or the system's error
};

constexpr CStep kSteps[] = {
    {"register", "Register the monitor with the spooler",
     [](CHostEnvironment& environment) {
         return environment.printSystem->AddMonitor(WideFromUtf8(kMonitorName),
                                                    WideFromUtf8(kMonitorLibrary));
     }},
    {"unregister", "Remove the monitor from the spooler",
     [](CHostEnvironment& environment) {
         return environment.printSystem->RemoveMonitor(WideFromUtf8(kMonitorName));
     }},
    {"check-unused", "Fail if a printer driver names the monitor",
     [](CHostEnvironment& environment) {
         return environment.spoolerSetup->CheckUnused(WideFromUtf8(kMonitorName));
     }},
    {"check-idle", "Fail if a job is being printed on this machine",
     [](CHostEnvironment& environment) { return environment.spoolerSetup->CheckIdle(); }},
    {"stop-spooler", "Stop the spooler",
     [](CHostEnvironment& environment) { return environment.spoolerSetup->StopSpooler(); }},
    {"start-spooler", "Start the spooler",
     [](CHostEnvironment& environment) { return environment.spoolerSetup->StartSpooler(); }},
};

/// The installer's log shows the exit status of a step and nothing that it prints: it is the system's error.
ExitStatus Run(const CStep& step, CHostEnvironment& environment)
{
    if (const DWORD error = step.run(environment)) {
        throw CHostError(static_cast<ExitStatus>(error),
                         std::string("setup ") + step.name + ": system error " + std::to_string(error));
    }
    return ExitStatus::Done;
}

} // namespace

CCommand SetupCommand()
{
    CCommand command{.name = "setup", .help = "Run one step of the installer (Windows)"};
    for (const CStep& step : kSteps) {
        command.parts.push_back(
            {.name = step.name, .help = step.help, .run = [&step](CHostEnvironment& environment, CConsole&) {
                 return Run(step, environment);
             }});
    }
    return command;
}

} // namespace zrtmon::host
