#include "host/places/open_printer.h"

#include "host/places/system_printers.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr char kPortPrinterName[] = "Card Printer";

/// None if there is no print system that could have one.
std::vector<CListedPrinter> ListIfAny(ISystemPrinters& printers)
{
    try {
        return printers.List();
    } catch (const CNoPrintSystem&) {
        return {};
    }
}

std::string OnlyPrinter(ISystemPrinters& printers)
{
    const std::vector<CListedPrinter> list = ListIfAny(printers);
    if (list.empty()) {
        throw CHostError(ExitStatus::NoDevice,
                         "no printer found; give --printer, or --port sim: for the simulated one");
    }
    if (list.size() > 1) {
        throw CHostError(ExitStatus::Usage,
                         std::to_string(list.size()) +
                             " printers found; give --printer NAME with one that zrtctl printers lists");
    }
    return list.front().name;
}

} // namespace

void RequirePortForItsOptions(const CPrinterChoice& choice)
{
    const bool isTrace = !choice.trace.empty();
    if (choice.port.empty() && (isTrace || !choice.library.empty())) {
        throw CHostError(
            ExitStatus::Usage,
            std::string(isTrace ? "--trace" : "--library") +
                ": only with --port; the print system loads the monitor and calls its port by itself");
    }
}

std::unique_ptr<CPortPrinter> OpenPort(const CPrinterChoice& choice, const CHostEnvironment& environment)
{
    return std::make_unique<CPortPrinter>(
        CSessionOptions{.port = choice.port,
                        .printer = choice.printer.empty() ? kPortPrinterName : choice.printer,
                        .library = choice.library,
                        .trace = choice.trace},
        environment);
}

std::unique_ptr<IPrinter> OpenPrinter(const CPrinterChoice& choice, const CHostEnvironment& environment)
{
    if (!choice.port.empty()) {
        return OpenPort(choice, environment);
    }
    RequirePortForItsOptions(choice);
    ISystemPrinters& printers = *environment.systemPrinters;
    return printers.Open(choice.printer.empty() ? OnlyPrinter(printers) : choice.printer);
}

} // namespace zrtmon::host
