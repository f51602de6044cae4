#include <iterator>

#include "host/commands/commands.h"

namespace zrtmon::host {

std::vector<COption> WithSessionOptions(std::vector<COption> options, CSessionOptions& session)
{
    const COption shared[] = {
        {.name = "--port",
         .target = &session.port,
         .help = "Port: sim:, sim:OPTIONS, file:PATH, usb: or tcp:HOST",
         .form = "PORT"},
        {.name = "--printer",
         .target = &session.printer,
         .help = "Name of the printer in the spooler",
         .form = "NAME"},
        {.name = "--library",
         .target = &session.library,
         .help = "The monitor's library, if not the one installed with this program",
         .form = "PATH"},
        {.name = "--trace",
         .target = &session.trace,
         .help = "Write every call at the port to this file; *.json for a trace viewer",
         .form = "PATH"},
    };
    options.insert(options.end(), std::begin(shared), std::end(shared));
    return options;
}

void StopWhenInterrupted(const CHostEnvironment& environment)
{
    if (environment.wasInterrupted()) {
        throw CHostError(ExitStatus::Interrupted, "interrupted");
    }
}

} // namespace zrtmon::host
