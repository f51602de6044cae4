#include <iterator>

#include "host/commands/commands.h"

namespace zrtmon::host {

std::vector<COption> WithPrinterOptions(std::vector<COption> options, CPrinterChoice& choice)
{
    const COption shared[] = {
        {.name = "--port",
         .target = &choice.port,
         .help = "A port of zrtctl's own: sim:, sim:OPTIONS, file:PATH, usb: or tcp:HOST",
         .form = "PORT"},
        {.name = "--printer",
         .target = &choice.printer,
         .help = "A printer of this machine; with --port, the name under which the monitor knows it",
         .form = "NAME"},
        {.name = "--library",
         .target = &choice.library,
         .help = "With --port: the monitor's library, if not the one installed with this program",
         .form = "PATH"},
        {.name = "--trace",
         .target = &choice.trace,
         .help = "With --port: write every call at the port to this file; *.json for a trace viewer",
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
