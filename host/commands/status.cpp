#include <memory>

#include "host/commands/commands.h"
#include "host/printer/status_words.h"
#include "host/session/query.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kWatchMs = 1000;

struct CStatusArguments {
    CSessionOptions session;
    bool watch = false;
    bool json = false;
};

/// The printer's state as the monitor publishes it. An empty document makes the monitor poll the printer; the
/// end of a document always resets "PrinterError" to 1, so that value is queried by name.
CPublishedValues ReadStatus(CSpoolerSession& session)
{
    const CQueriedNumber category = QueryNumber(session, "PrinterError");
    if (!category.value) {
        throw CHostError(QueryStatus(category.error),
                         "PrinterError: " + QueryErrorText(session, category.error));
    }
    CDocument document(session, L"status");
    if (!document.End()) {
        throw CHostError(ExitStatus::NoDevice, "cannot end the document on this port");
    }
    session.ThrowFailure();
    CPublishedValues status = session.PublishedValues();
    status.printerError = category.value;
    return status;
}

struct CStatusLine {
    const char* name;
    std::optional<int> value;
    std::string words;
};

std::string WordsFor(const std::optional<int>& value, std::string (*words)(int))
{
    return value ? words(*value) : "not published";
}

std::vector<CStatusLine> Lines(const CPublishedValues& status)
{
    const auto cards = [](int count) {
        return std::to_string(count) + " cards printed since the printer was built";
    };
    return {{"PrinterStatus", status.printerStatus, WordsFor(status.printerStatus, PrinterStatusWords)},
            {"PrinterError", status.printerError, WordsFor(status.printerError, CategoryWords)},
            {"DeviceError", status.deviceError, WordsFor(status.deviceError, DeviceErrorWords)},
            {"CardCount", status.cardCount, WordsFor(status.cardCount, cards)}};
}

std::string JsonText(const CPublishedValues& status)
{
    CJson::Object object;
    for (const CStatusLine& line : Lines(status)) {
        const CJson value = line.value ? CJson(*line.value) : CJson();
        object.emplace_back(line.name, CJson::Object{{"value", value}, {"meaning", line.words}});
    }
    return JsonLine(object);
}

/// Shows the values that differ from those shown before; in JSON all of them.
void Show(const CPublishedValues& status, const CPublishedValues* before, bool json, CConsole& console)
{
    if (json) {
        console.Answer(JsonText(status));
        return;
    }
    const std::vector<CStatusLine> lines = Lines(status);
    const std::vector<CStatusLine> shown = before ? Lines(*before) : std::vector<CStatusLine>();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!before || lines[i].value != shown[i].value) {
            const std::string value = lines[i].value ? std::to_string(*lines[i].value) : "";
            console.Answer(lines[i].name + ('=' + value) + "  " + lines[i].words);
        }
    }
}

/// Waits for a second; false if the user has interrupted it.
bool WaitForNextPoll(const CHostEnvironment& environment)
{
    constexpr DWORD kStepMs = 50;
    for (DWORD waited = 0; waited < kWatchMs; waited += kStepMs) {
        if (environment.wasInterrupted()) {
            return false;
        }
        Sleep(kStepMs);
    }
    return !environment.wasInterrupted();
}

ExitStatus Status(const CStatusArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    if (!IsPrinterPort(arguments.session.port)) {
        throw CHostError(ExitStatus::NoDevice,
                         PrintableInput(arguments.session.port) + ": is a file; only a printer has a status");
    }
    CSpoolerSession session(arguments.session, environment);
    CPublishedValues last = ReadStatus(session);
    Show(last, nullptr, arguments.json, console);
    if (!arguments.watch) {
        return last.printerError == kNoErrorCategory ? ExitStatus::Done : ExitStatus::PrinterError;
    }
    while (WaitForNextPoll(environment)) {
        const CPublishedValues now = ReadStatus(session);
        if (now != last) {
            Show(now, &last, arguments.json, console);
            last = now;
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
        .options = WithSessionOptions(
            {{.name = "--watch",
              .target = &arguments->watch,
              .help = "Poll every second until interrupted, and show changes"},
             {.name = "--json", .target = &arguments->json, .help = "Print a line of JSON for each poll"}},
            arguments->session),
        .run = [arguments](CHostEnvironment& environment, CConsole& console) {
            return Status(*arguments, environment, console);
        }};
}

} // namespace zrtmon::host
