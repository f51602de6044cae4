#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/commands/installation.h"
#include "host/places/port_printer.h"
#include "host/places/system_printers.h"
#include "host/printer/status_words.h"
#include "host/text/file.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

struct CDoctorArguments {
    std::string target;
    std::string monitor = kMonitorName;
    CPrinterChoice printer;
    bool json = false;
};

/// What an error text of the form "what happened; what would help" says, or of the first part alone.
CDiagnostic Problem(const char* topic, const std::string& text, const char* advice)
{
    constexpr std::string_view kSeparator = "; ";
    const size_t at = text.find(kSeparator);
    if (at == std::string::npos) {
        return {topic, text, advice};
    }
    return {topic, text.substr(0, at), text.substr(at + kSeparator.size())};
}

CDiagnostic Registration(IPrintSystem& system, const std::string& name)
{
    constexpr char kTopic[] = "registered monitor";
    CMonitorEntry entry;
    const DWORD error = FindMonitor(system, name, &entry);
    switch (error) {
    case ERROR_SUCCESS:
        return {kTopic, Utf8FromWide(entry.library) + " for " + Utf8FromWide(entry.environment), ""};
    case ERROR_NOT_SUPPORTED:
        return {kTopic, "not applicable: no language monitors on this system", ""};
    case ERROR_UNKNOWN_PRINT_MONITOR:
        return {kTopic, "\"" + name + "\" is not registered", "zrtctl install, as an administrator"};
    default:
        return Problem(kTopic, SpoolerErrorWords(error), "check the service \"Print Spooler\"");
    }
}

constexpr char kSilentAdvice[] = "check that the printer is switched on and connected";

CDiagnostic NoDeviceId(const CPortPrinter& printer, DWORD error)
{
    if (printer.IsOnNetwork() && error == ERROR_NOT_SUPPORTED) {
        return {"device ID", "none: the network carries none; the port's option serial=SN stands in for it",
                ""};
    }
    return Problem("device ID", "none (error " + std::to_string(error) + ')', kSilentAdvice);
}

/// The device ID, which the port monitor returns through the language monitor.
CDiagnostic DeviceId(const CPortPrinter& printer)
{
    const std::optional<std::string> deviceId = printer.DeviceId();
    if (!deviceId) {
        return NoDeviceId(printer, GetLastError());
    }
    return {"device ID", *deviceId, ""};
}

CDiagnostic LastStatus(CPortPrinter& printer)
{
    const CQueriedNumber category = QueryNumber(printer, "PrinterError");
    if (!category.value) {
        return Problem("status", QueryProblem(printer, category), kSilentAdvice);
    }
    const bool isReady = *category.value == kNoErrorCategory;
    return {"status", CategoryWords(*category.value), isReady ? "" : "check the printer's display"};
}

CDiagnostic AskInstalled(IPrinter& printer, const char* valueName)
{
    constexpr DWORD kReplyMs = 3000; // for which the monitor waits for a reply before it refuses
    const DWORD start = GetTickCount();
    const CQueryResult result = printer.Query(valueName);
    const DWORD waited = GetTickCount() - start;
    if (!result.answered) {
        return {valueName, QueryProblem(printer, result),
                "check that the printer is on and the monitor registered"};
    }
    if (result.isStored) {
        return {valueName, result.text + " (stored: it came too fast to be the printer's)",
                "the printer was not asked, because the monitor refused: check that it is on, and that "
                "nothing prints"};
    }
    if (waited >= kReplyMs) {
        return {valueName, result.text + " (live or stored: it took " + Seconds(waited) + " s)",
                "check that the printer is on, and ask again when nothing prints"};
    }
    return {valueName, result.text + " (live)", ""};
}

/// The printers of the system that use the monitor: what they answer, and whether that comes from the
/// printer.
void ExamineInstalled(const std::string& target, const CHostEnvironment& environment,
                      std::vector<CDiagnostic>* diagnostics)
{
    try {
        for (const CListedPrinter& listed : environment.systemPrinters->List()) {
            if (!target.empty() && !EqualsIgnoringCase(target, listed.name)) {
                continue;
            }
            const std::unique_ptr<IPrinter> printer = environment.systemPrinters->Open(listed.name);
            diagnostics->push_back({"answers of " + printer->Place(), listed.port + ", " + listed.state, ""});
            for (const char* valueName : {"SerialNumber", "PrinterError", "CardCount"}) {
                diagnostics->push_back(AskInstalled(*printer, valueName));
            }
        }
    } catch (const CNoPrintSystem& error) {
        diagnostics->push_back({"installed printers", std::string("none: ") + error.what(), ""});
    } catch (const CHostError& error) {
        diagnostics->push_back({"installed printers", "cannot be examined", error.what()});
    }
}

/// Opens the port through the monitor's library, as a spooler does, and queries the printer.
void ExaminePort(const CDoctorArguments& arguments, CHostEnvironment& environment,
                 std::vector<CDiagnostic>* diagnostics)
{
    const std::string topic = "port " + PrintableInput(arguments.printer.port);
    try {
        const std::unique_ptr<CPortPrinter> printer = OpenPort(arguments.printer, environment);
        diagnostics->push_back({topic, "opens through the monitor's library", ""});
        if (printer->HasDevice()) {
            diagnostics->push_back(DeviceId(*printer));
            diagnostics->push_back(LastStatus(*printer));
        }
    } catch (const CHostError& error) {
        diagnostics->push_back({topic, "does not open", error.what()});
    }
}

std::string Table(const std::vector<CDiagnostic>& diagnostics)
{
    size_t columns = 0;
    for (const CDiagnostic& diagnostic : diagnostics) {
        columns = std::max(columns, diagnostic.topic.size() + 2);
    }
    std::string text;
    for (const CDiagnostic& diagnostic : diagnostics) {
        text += text.empty() ? "" : "\n";
        text += Padded(PrintableInput(diagnostic.topic), columns) + PrintableInput(diagnostic.value);
        if (!diagnostic.advice.empty()) {
            text += '\n' + std::string(columns, ' ') + "-> " + PrintableInput(diagnostic.advice);
        }
    }
    return text;
}

std::string Json(const std::vector<CDiagnostic>& diagnostics)
{
    CJson::Array rows;
    for (const CDiagnostic& diagnostic : diagnostics) {
        rows.push_back(CJson::Object{{"topic", WithoutPasswords(PrintableUtf8(diagnostic.topic))},
                                     {"value", WithoutPasswords(PrintableUtf8(diagnostic.value))},
                                     {"advice", WithoutPasswords(PrintableUtf8(diagnostic.advice))}});
    }
    return JsonLines(rows);
}

ExitStatus Examine(const CDoctorArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    RequirePortForItsOptions(arguments.printer);
    std::vector<CDiagnostic> diagnostics = {{"zrtctl", ZRTMON_VERSION, ""}};
    for (CDiagnostic& diagnostic :
         environment.printSystem->Examine(WideFromUtf8(arguments.monitor), arguments.target)) {
        diagnostics.push_back(std::move(diagnostic));
    }
    if (environment.examineDevices) {
        for (CDiagnostic& diagnostic : environment.examineDevices(arguments.target)) {
            diagnostics.push_back(std::move(diagnostic));
        }
    }
    diagnostics.insert(diagnostics.begin() + 2, Registration(*environment.printSystem, arguments.monitor));
    ExamineInstalled(arguments.target, environment, &diagnostics);
    if (!arguments.printer.port.empty()) {
        ExaminePort(arguments, environment, &diagnostics);
    }
    console.Answer(arguments.json ? Json(diagnostics) : Table(diagnostics));
    const bool isWell = std::all_of(diagnostics.begin(), diagnostics.end(),
                                    [](const CDiagnostic& diagnostic) { return diagnostic.advice.empty(); });
    return isWell ? ExitStatus::Done : ExitStatus::PrinterError;
}

} // namespace

CCommand DoctorCommand()
{
    const auto arguments = std::make_shared<CDoctorArguments>();
    return {.name = "doctor",
            .help = "Diagnose the system, the monitor and the printer",
            .options = WithPrinterOptions(
                {{.name = "TARGET",
                  .target = &arguments->target,
                  .help = "Printer (Windows) or device node (Linux); all that are found if not given"},
                 {.name = "--name",
                  .target = &arguments->monitor,
                  .help = "Name of the monitor in the drivers' LanguageMonitor entry",
                  .form = "NAME"},
                 {.name = "--json", .target = &arguments->json, .help = "Print one JSON array"}},
                arguments->printer),
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return Examine(*arguments, environment, console);
            }};
}

} // namespace zrtmon::host
