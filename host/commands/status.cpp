#include <memory>

#include "host/commands/commands.h"
#include "host/printer/status_words.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kWatchMs = 1000;

struct CStatusArguments {
    CPrinterChoice printer;
    bool watch = false;
    bool json = false;
};

struct CStatusLine {
    const char* name;
    std::optional<int> value;
    std::string words;
};

std::string WordsFor(const std::optional<int>& value, std::string (*words)(int))
{
    return value ? words(*value) : "not published";
}

std::vector<CStatusLine> Lines(const CPublishedValues& values)
{
    const auto cards = [](int count) {
        return std::to_string(count) + " cards printed since the printer was built";
    };
    return {{"PrinterStatus", values.printerStatus, WordsFor(values.printerStatus, PrinterStatusWords)},
            {"PrinterError", values.printerError, WordsFor(values.printerError, CategoryWords)},
            {"DeviceError", values.deviceError, WordsFor(values.deviceError, DeviceErrorWords)},
            {"CardCount", values.cardCount, WordsFor(values.cardCount, cards)}};
}

std::string JsonText(const CPrinterState& state)
{
    CJson::Object object;
    for (const CStatusLine& line : Lines(state.values)) {
        const CJson value = line.value ? CJson(*line.value) : CJson();
        object.emplace_back(line.name, CJson::Object{{"value", value}, {"meaning", line.words}});
    }
    if (!state.queue.empty()) {
        object.emplace_back("Queue",
                            CJson::Object{{"value", CJson()}, {"meaning", PrintableUtf8(state.queue)}});
    }
    return JsonLine(object);
}

/// Shows the values that differ from those shown before; in JSON all of them.
void Show(const CPrinterState& state, const CPrinterState* before, bool json, CConsole& console)
{
    if (json) {
        console.Answer(JsonText(state));
        return;
    }
    const std::vector<CStatusLine> lines = Lines(state.values);
    const std::vector<CStatusLine> shown = before ? Lines(before->values) : std::vector<CStatusLine>();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!before || lines[i].value != shown[i].value) {
            const std::string value = lines[i].value ? std::to_string(*lines[i].value) : "";
            console.Answer(lines[i].name + ('=' + value) + "  " + lines[i].words);
        }
    }
    if (state.queue != (before ? before->queue : "")) {
        console.Answer("Queue  " + (state.queue.empty() ? "ready" : Printable(state.queue)));
    }
}

/// Waits for a change, for a second at most; false if the user has interrupted it.
bool WaitForNextPoll(IPrinter& printer, const CHostEnvironment& environment)
{
    constexpr DWORD kStepMs = 50;
    for (DWORD waited = 0; waited < kWatchMs && !environment.wasInterrupted(); waited += kStepMs) {
        if (printer.WaitForChange(kStepMs)) {
            break;
        }
    }
    return !environment.wasInterrupted();
}

ExitStatus Status(const CStatusArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    if (!arguments.printer.port.empty() && !IsPrinterPort(arguments.printer.port)) {
        throw CHostError(ExitStatus::NoDevice,
                         PrintableInput(arguments.printer.port) + ": is a file; only a printer has a status");
    }
    const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
    CPrinterState last = printer->ReadState();
    Show(last, nullptr, arguments.json, console);
    if (!arguments.watch) {
        return last.values.printerError == kNoErrorCategory ? ExitStatus::Done : ExitStatus::PrinterError;
    }
    while (WaitForNextPoll(*printer, environment)) {
        CPrinterState now = printer->ReadState();
        if (now != last) {
            Show(now, &last, arguments.json, console);
            last = std::move(now);
        }
    }
    return ExitStatus::Interrupted;
}

} // namespace

CCommand StatusCommand()
{
    const auto arguments = std::make_shared<CStatusArguments>();
    return {
        .name = "status",
        .help = "Show the printer's state and what it means",
        .options = WithPrinterOptions(
            {{.name = "--watch", .target = &arguments->watch, .help = "Show changes until interrupted"},
             {.name = "--json", .target = &arguments->json, .help = "Print a line of JSON for each poll"}},
            arguments->printer),
        .run = [arguments](CHostEnvironment& environment, CConsole& console) {
            return Status(*arguments, environment, console);
        }};
}

} // namespace zrtmon::host
