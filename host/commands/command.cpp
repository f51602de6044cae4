#include "host/commands/command.h"

namespace zrtmon::host {

void AddSessionOptions(CLI::App& command, CSessionOptions& options)
{
    command.add_option("--port", options.port, "sim:, sim:OPTIONS or file:PATH")
        ->type_name("PORT")
        ->capture_default_str();
    command.add_option("--printer", options.printer, "Name of the printer in the spooler")
        ->type_name("NAME")
        ->capture_default_str();
    command
        .add_option("--library", options.library,
                    "The monitor's library; else the one installed with this program")
        ->type_name("PATH");
    command
        .add_option("--trace", options.trace,
                    "Write every call at the port to this file; named *.json, it opens in a trace viewer")
        ->type_name("PATH");
}

void StopWhenInterrupted(const CHostEnvironment& environment)
{
    if (environment.wasInterrupted()) {
        throw CHostError(ExitStatus::Interrupted, "interrupted");
    }
}

} // namespace zrtmon::host
