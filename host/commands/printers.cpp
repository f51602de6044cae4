#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/places/system_printers.h"
#include "host/printer/status_words.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

std::string ErrorWords(const CListedPrinter& printer)
{
    if (!printer.printerError) {
        return "not published";
    }
    const bool isReady = *printer.printerError == kNoErrorCategory;
    return isReady ? "no error" : ErrorReason(*printer.printerError, printer.deviceError.value_or(0));
}

std::string Table(const std::vector<CListedPrinter>& printers)
{
    size_t nameColumns = 0;
    size_t portColumns = 0;
    for (const CListedPrinter& printer : printers) {
        nameColumns = std::max(nameColumns, Printable(printer.name).size() + 2);
        portColumns = std::max(portColumns, Printable(printer.port).size() + 2);
    }
    std::string text;
    for (const CListedPrinter& printer : printers) {
        text += text.empty() ? "" : "\n";
        text += Padded(Printable(printer.name), nameColumns) + Padded(Printable(printer.port), portColumns) +
                Printable(printer.state) + ", " + ErrorWords(printer);
    }
    return text;
}

std::string Json(const std::vector<CListedPrinter>& printers)
{
    CJson::Array rows;
    for (const CListedPrinter& printer : printers) {
        const auto number = [](const std::optional<int>& value) { return value ? CJson(*value) : CJson(); };
        rows.push_back(CJson::Object{{"name", PrintableUtf8(printer.name)},
                                     {"port", PrintableUtf8(printer.port)},
                                     {"state", PrintableUtf8(printer.state)},
                                     {"printerError", number(printer.printerError)},
                                     {"deviceError", number(printer.deviceError)},
                                     {"error", ErrorWords(printer)}});
    }
    return JsonLines(rows);
}

ExitStatus List(bool json, CHostEnvironment& environment, CConsole& console)
{
    const std::vector<CListedPrinter> printers = environment.systemPrinters->List();
    if (json) {
        console.Answer(Json(printers));
    } else if (!printers.empty()) {
        console.Answer(Table(printers));
    } else {
        console.Message("no printer uses the monitor; zrtctl doctor says what is missing", Tone::Warning);
    }
    return ExitStatus::Done;
}

} // namespace

CCommand PrintersCommand()
{
    const auto json = std::make_shared<bool>(false);
    return {.name = "printers",
            .help = "List the printers of this machine that use the monitor",
            .options = {{.name = "--json", .target = json.get(), .help = "Print one JSON array"}},
            .run = [json](CHostEnvironment& environment, CConsole& console) {
                return List(*json, environment, console);
            }};
}

} // namespace zrtmon::host
