#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/commands/installation.h"
#include "host/printer/status_words.h"
#include "host/session/query.h"
#include "host/text/file.h"
#include "host/text/json.h"
#include "host/text/text.h"
#include "platform/usb_print.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kLongestDeviceId = 1024;

struct CDoctorArguments {
    std::string target;
    std::string monitor = kMonitorName;
    CSessionOptions session;
    bool looksAtPort = false;
    bool json = false;
};

CFinding Registration(IPrintSystem& system, const std::string& name)
{
    std::vector<CMonitorEntry> monitors;
    const DWORD error = system.ListMonitors(&monitors);
    if (error == ERROR_NOT_SUPPORTED) {
        return {"registered monitor", "this system's print service has none", ""};
    }
    const auto entry = FindMonitor(system, name);
    if (!entry) {
        return {"registered monitor", "\"" + name + "\" is not listed",
                "zrtctl install, as an administrator"};
    }
    return {"registered monitor", Utf8FromWide(entry->library) + " for " + Utf8FromWide(entry->environment),
            ""};
}

/// The port monitor's answer, through the language monitor, to the device control that asks for it.
CFinding DeviceId(const CSpoolerSession& session)
{
    std::string answer(kLongestDeviceId, '\0');
    DWORD count = 0;
    if (!session.Table().pfnGetPrinterDataFromPort(session.Port(), IOCTL_PAR_QUERY_DEVICE_ID, nullptr,
                                                   nullptr, 0, reinterpret_cast<LPWSTR>(answer.data()),
                                                   kLongestDeviceId, &count)) {
        return {"device ID", "none (error " + std::to_string(GetLastError()) + ')',
                "check that the printer is on and its cable sound"};
    }
    return {"device ID", answer.substr(0, count), ""};
}

CFinding LastStatus(const CSpoolerSession& session)
{
    const CQueriedNumber category = QueryNumber(session.Table(), session.Port(), "PrinterError");
    if (!category.value) {
        return {"status", QueryErrorWords(category.error),
                "check that the printer is on and its cable sound"};
    }
    const bool isReady = *category.value == kNoErrorCategory;
    return {"status", CategoryWords(*category.value), isReady ? "" : "see to the printer"};
}

/// The library and the printer behind the port, as the command line's own spooler sees them.
void ExaminePort(const CDoctorArguments& arguments, CHostEnvironment& environment,
                 std::vector<CFinding>* findings)
{
    const std::string topic = "port " + arguments.session.port;
    try {
        const CSpoolerSession session(arguments.session, environment);
        findings->push_back({topic, "opens through the monitor's library", ""});
        if (session.HasDevice()) {
            findings->push_back(DeviceId(session));
            findings->push_back(LastStatus(session));
        }
    } catch (const CHostError& error) {
        findings->push_back({topic, "does not open", error.what()});
    }
}

std::string Table(const std::vector<CFinding>& findings)
{
    size_t columns = 0;
    for (const CFinding& finding : findings) {
        columns = std::max(columns, finding.topic.size() + 2);
    }
    std::string text;
    for (const CFinding& finding : findings) {
        text += text.empty() ? "" : "\n";
        text += Padded(Printable(finding.topic), columns) + Printable(finding.value);
        if (!finding.advice.empty()) {
            text += '\n' + std::string(columns, ' ') + "-> " + Printable(finding.advice);
        }
    }
    return text;
}

std::string Json(const std::vector<CFinding>& findings)
{
    CJson::Array rows;
    for (const CFinding& finding : findings) {
        rows.push_back(CJson::Object{{"topic", PrintableUtf8(finding.topic)},
                                     {"value", PrintableUtf8(finding.value)},
                                     {"advice", PrintableUtf8(finding.advice)}});
    }
    return JsonLines(rows);
}

ExitStatus Examine(const CDoctorArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    std::vector<CFinding> findings = {{"zrtctl", ZRTMON_VERSION, ""}};
    for (CFinding& finding :
         environment.printSystem->Examine(WideFromUtf8(arguments.monitor), arguments.target)) {
        findings.push_back(std::move(finding));
    }
    findings.insert(findings.begin() + 2, Registration(*environment.printSystem, arguments.monitor));
    if (arguments.looksAtPort) {
        ExaminePort(arguments, environment, &findings);
    }
    console.Answer(arguments.json ? Json(findings) : Table(findings));
    const bool isWell = std::all_of(findings.begin(), findings.end(),
                                    [](const CFinding& finding) { return finding.advice.empty(); });
    return isWell ? ExitStatus::Done : ExitStatus::PrinterError;
}

} // namespace

CCommand DoctorCommand()
{
    const auto arguments = std::make_shared<CDoctorArguments>();
    CCommand command{
        .name = "doctor",
        .help = "Show what a support desk asks first: system, monitor, printer",
        .options = WithSessionOptions(
            {{.name = "TARGET",
              .target = &arguments->target,
              .help =
                  "Printer (Windows) or device node (Linux) to look at; all that can be found without it"},
             {.name = "--name",
              .target = &arguments->monitor,
              .help = "Name that drivers know the monitor by",
              .form = "NAME"},
             {.name = "--json", .target = &arguments->json, .help = "Answer with one JSON array"}},
            arguments->session),
        .run = [arguments](CHostEnvironment& environment, CConsole& console) {
            return Examine(*arguments, environment, console);
        }};
    for (COption& option : command.options) {
        if (option.name == "--port" || option.name == "--library") {
            option.given = &arguments->looksAtPort;
        }
    }
    return command;
}

} // namespace zrtmon::host
