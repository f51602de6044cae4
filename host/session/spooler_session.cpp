#include "host/session/spooler_session.h"

#include <algorithm>

#include "host/exit_status.h"
#include "host/printer/status_words.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/spooler_admin.h"
#include "simulator/printer_options.h"

namespace zrtmon::host {
namespace {

ExitStatus PortStatus(DWORD error) { return error == ERROR_BUSY ? ExitStatus::Busy : ExitStatus::NoDevice; }

sim::PortName CheckedPort(const std::string& port)
{
    std::string problem;
    const std::optional<sim::PortName> name = sim::ParsePortName(WideFromUtf8(port), &problem);
    if (!name) {
        throw CHostError(ExitStatus::Usage, ShownPort(problem));
    }
    return *name;
}

std::wstring CheckedPrinterName(const std::string& name)
{
    if (name.empty()) {
        throw CHostError(ExitStatus::Usage, "--printer: the name is empty");
    }
    return WideFromUtf8(name);
}

CPrinterHandle MakePrinter(std::wstring name)
{
    spooler::CreatePrinter(name);
    PRINTER_DEFAULTSW defaults{nullptr, nullptr, PRINTER_ACCESS_ADMINISTER};
    HANDLE printer = nullptr;
    if (!OpenPrinterW(name.data(), &printer, &defaults)) {
        throw CHostError(ExitStatus::NoDevice, "the spooler's printer: " + PortErrorWords(GetLastError()));
    }
    return CPrinterHandle(printer);
}

std::unique_ptr<CTrace> MakeTrace(const std::string& path)
{
    return path.empty() ? nullptr : std::make_unique<CTrace>(PathFromUtf8(path));
}

std::optional<int> ReadNumber(HANDLE printer, std::wstring valueName)
{
    char text[32] = {};
    DWORD size = 0;
    // One byte less than there is room for: the text keeps its end whatever was stored.
    const DWORD result = GetPrinterDataW(printer, valueName.data(), nullptr, reinterpret_cast<LPBYTE>(text),
                                         sizeof text - 1, &size);
    if (result != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return LeadingNumber(text);
}

} // namespace

std::string ShownPort(const std::string& port)
{
    constexpr std::string_view kOption = "-password=";
    std::string shown = Printable(port);
    for (size_t at = shown.find(kOption); at != std::string::npos; at = shown.find(kOption, at)) {
        at += kOption.size();
        const size_t end = std::min(shown.find_first_of(",'", at), shown.size());
        shown.replace(at, end - at, end > at ? "**" : "");
    }
    return shown;
}

CSpoolerSession::CSpoolerSession(const CSessionOptions& options, const CHostEnvironment& environment)
    : m_printerName(CheckedPrinterName(options.printer)),
      m_hasDevice(CheckedPort(options.port).kind == sim::PortName::Kind::Printer),
      m_library(PathFromUtf8(options.library), environment), m_trace(MakeTrace(options.trace)),
      m_proxy(m_portMonitor.Handle(), *sim::CPortMonitor::Table(), m_trace.get()),
      m_printer(MakePrinter(m_printerName))
{
    std::wstring portName = WideFromUtf8(options.port);
    const BOOL opened = Table().pfnOpenPortEx(m_library.Monitor(), m_proxy.Monitor(), portName.data(),
                                              m_printerName.data(), &m_port, m_proxy.Table());
    if (!opened) {
        const DWORD error = GetLastError();
        throw CHostError(PortStatus(error),
                         "port " + ShownPort(options.port) + ": cannot be opened, " + PortErrorWords(error));
    }
}

CSpoolerSession::~CSpoolerSession()
{
    Table().pfnClosePort(m_port);
    spooler::RemovePrinter(m_printerName);
}

CPublishedValues CSpoolerSession::PublishedValues() const
{
    return {ReadNumber(Printer(), L"PrinterStatus"), ReadNumber(Printer(), L"PrinterError"),
            ReadNumber(Printer(), L"DeviceError"), ReadNumber(Printer(), L"CardCount")};
}

CDocument::CDocument(CSpoolerSession& session, const std::wstring& name)
    : m_session(session), m_jobId(spooler::SubmitJob(session.PrinterName(), name))
{
    std::wstring printerName = session.PrinterName();
    std::wstring documentName = name;
    std::wstring dataType = L"RAW";
    DOC_INFO_1W info{documentName.data(), nullptr, dataType.data()};
    m_open = session.Table().pfnStartDocPort(session.Port(), printerName.data(), m_jobId, 1,
                                             reinterpret_cast<LPBYTE>(&info)) != FALSE;
    if (!m_open) {
        const DWORD error = GetLastError();
        spooler::RemoveJob(printerName, m_jobId);
        throw CHostError(PortStatus(error), "the port takes no document, " + PortErrorWords(error));
    }
}

CDocument::~CDocument()
{
    if (m_open) {
        End();
    }
    spooler::RemoveJob(m_session.PrinterName(), m_jobId);
}

void CDocument::DeleteJob() { SetJobW(m_session.Printer(), m_jobId, 0, nullptr, JOB_CONTROL_DELETE); }

bool CDocument::End()
{
    m_open = false;
    return m_session.Table().pfnEndDocPort(m_session.Port()) != FALSE;
}

} // namespace zrtmon::host
