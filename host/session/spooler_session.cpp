#include "host/session/spooler_session.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include "devices/device_name.h"
#include "devices/device_ports.h"

#include "host/exit_status.h"
#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/spooler_admin.h"
#include "platform/usb_print.h"
#include "platform/wipe.h"
#include "simulator/printer_options.h"

namespace zrtmon::host {
namespace {

ExitStatus PortStatus(DWORD error) { return error == ERROR_BUSY ? ExitStatus::Busy : ExitStatus::NoDevice; }

PortKind DeviceKindOf(const std::wstring& port)
{
    std::string problem = devices::DeviceNameProblem(port);
    const std::optional<devices::CDeviceName> name =
        problem.empty() ? devices::ParseDeviceName(port, &problem) : std::nullopt;
    if (!name) {
        throw CHostError(ExitStatus::Usage, PrintableInput(problem));
    }
    return name->kind == devices::CDeviceName::Kind::Tcp ? PortKind::NetworkPrinter : PortKind::UsbPrinter;
}

std::wstring CheckedPrinterName(const std::string& name)
{
    if (name.empty()) {
        throw CHostError(ExitStatus::Usage, "--printer: the name is empty");
    }
    return WideFromUtf8(name);
}

CPrinterHandle CreateAndOpen(std::wstring name)
{
    spooler::CreatePrinter(name);
    PRINTER_DEFAULTSW defaults{nullptr, nullptr, PRINTER_ACCESS_ADMINISTER};
    HANDLE printer = nullptr;
    OpenPrinterW(name.data(), &printer, &defaults);
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

// Large enough for every answer of the family, so that no query is made twice.
constexpr size_t kFirstBufferBytes = 8192;
constexpr DWORD kLongestDeviceId = 1024;

bool MayBeSilent(const std::string& requestText)
{
    const CValueName* name = FindValueName(requestText);
    return name && (name->kind == ValueKind::Action || name->kind == ValueKind::Password);
}

/// The request text is not changed; the function type has no const.
CQueryResult QueryWide(const MONITOR2& table, HANDLE port, std::wstring& requestText, bool maySilent)
{
    std::vector<wchar_t> buffer(kFirstBufferBytes / sizeof(wchar_t));
    for (;;) {
        const auto sizeBytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        DWORD returned = 0;
        SetLastError(ERROR_SUCCESS);
        const BOOL succeeded = table.pfnGetPrinterDataFromPort(port, 0, requestText.data(), nullptr, 0,
                                                               buffer.data(), sizeBytes, &returned);
        if (!succeeded) {
            // A request that leaves no text returns FALSE too, and sets no error.
            const DWORD error = GetLastError();
            return {error == ERROR_SUCCESS && maySilent, {}, error};
        }
        if (returned <= sizeBytes) {
            const auto text = reinterpret_cast<const char*>(buffer.data());
            return {true, std::string(text, returned > 0 ? returned - 1 : 0), ERROR_SUCCESS};
        }
        if (maySilent) { // an action is never sent twice
            return {false, {}, ERROR_MORE_DATA};
        }
        buffer.resize(returned / sizeof(wchar_t) + 1);
    }
}

} // namespace

PortKind PortKindOf(const std::string& port)
{
    const std::wstring wide = WideFromUtf8(port);
    if (devices::IsDeviceName(wide)) {
        return DeviceKindOf(wide);
    }
    std::string problem;
    const std::optional<sim::PortName> name = sim::ParsePortName(wide, &problem);
    if (!name) {
        throw CHostError(ExitStatus::Usage, PrintableInput(problem));
    }
    return name->kind == sim::PortName::Kind::Printer ? PortKind::SimulatedPrinter : PortKind::File;
}

bool IsPrinterPort(const std::string& port) { return PortKindOf(port) != PortKind::File; }

CSpoolerPrinter::CSpoolerPrinter(const std::wstring& name) : m_name(name), m_handle(CreateAndOpen(name))
{
    if (!m_handle.Get()) {
        const DWORD error = GetLastError();
        spooler::RemovePrinter(m_name);
        throw CHostError(ExitStatus::NoDevice, "the spooler's printer: " + PortErrorWords(error));
    }
}

CSpoolerPrinter::~CSpoolerPrinter() { spooler::RemovePrinter(m_name); }

CSpoolerSession::CSpoolerSession(const CSessionOptions& options, const CHostEnvironment& environment,
                                 std::shared_ptr<const CMonitorLibrary> library)
    : m_kind(PortKindOf(options.port)),
      m_library(library ? std::move(library)
                        : std::make_shared<CMonitorLibrary>(PathFromUtf8(options.library), environment)),
      m_trace(MakeTrace(options.trace)), m_portName(WideFromUtf8(options.port)),
      m_portMonitor(devices::MakeDevice),
      m_proxy(m_portMonitor.Handle(), *sim::CPortMonitor::Table(), m_trace.get()),
      m_printer(CheckedPrinterName(options.printer))
{
    std::wstring portName = m_portName; // the function's parameter is not const
    std::wstring printerName = PrinterName();
    const BOOL opened = Table().pfnOpenPortEx(m_library->Monitor(), m_proxy.Monitor(), portName.data(),
                                              printerName.data(), &m_port, m_proxy.Table());
    if (!opened) {
        const DWORD error = GetLastError();
        throw CHostError(PortStatus(error), "port " + PrintableInput(options.port) + ": cannot be opened, " +
                                                PortErrorWords(error));
    }
    m_device = m_portMonitor.FindDevice(m_portName);
}

CSpoolerSession::~CSpoolerSession() { Table().pfnClosePort(m_port); }

CQueryResult CSpoolerSession::Query(const std::string& requestText) const
{
    std::wstring wideText = WideFromUtf8(requestText);
    return MayBeSilent(requestText) ? Act(wideText) : Ask(wideText);
}

/// A question, which changes nothing.
CQueryResult CSpoolerSession::Ask(std::wstring& requestText) const
{
    const uint64_t movedBytes = MovedBytes();
    CQueryResult result = QueryWide(Table(), m_port, requestText, false);
    // Sent into a connection on which the printer has never replied: it is another client's turn there.
    const bool isSent = MovedBytes() > movedBytes;
    if (!result.answered && isSent && m_kind == PortKind::NetworkPrinter && !HasReplied()) {
        result.error = kNotServedError;
    }
    return WithDeviceError(result);
}

/// A channel of the monitor's, while which all queries use one connection to the device.
class CSpoolerSession::CChannel {
public:
    explicit CChannel(const CSpoolerSession& session) : m_session(session)
    {
        DOC_INFO_2W info{};
        info.dwMode = DI_CHANNEL;
        m_isOpen =
            session.Table().pfnStartDocPort(session.m_port, nullptr, 0, 2, reinterpret_cast<LPBYTE>(&info));
    }
    ~CChannel()
    {
        if (m_isOpen) {
            m_session.Table().pfnEndDocPort(m_session.m_port);
        }
    }
    CChannel(const CChannel&) = delete;
    CChannel& operator=(const CChannel&) = delete;

    bool IsOpen() const { return m_isOpen; }

private:
    const CSpoolerSession& m_session;
    BOOL m_isOpen;
};

/// An action, which may leave no text.
CQueryResult CSpoolerSession::Act(std::wstring& requestText) const
{
    if (m_kind != PortKind::NetworkPrinter) {
        return WithDeviceError(QueryWide(Table(), m_port, requestText, true));
    }
    const CChannel channel(*this);
    std::wstring question = L"PrinterError";
    if (!channel.IsOpen() || !QueryWide(Table(), m_port, question, false).answered) {
        return WithDeviceError({false, {}, kNotServedError});
    }
    return WithDeviceError(QueryWide(Table(), m_port, requestText, true));
}

CQueryResult CSpoolerSession::CancelAtOnce() const
{
    std::wstring requestText = L"CancelPrint";
    return WithDeviceError(QueryWide(Table(), m_port, requestText, true));
}

/// A failed device is not a printer that did not reply, whatever last error the monitor made of it.
CQueryResult CSpoolerSession::WithDeviceError(CQueryResult result) const
{
    const std::optional<sim::PortFailure> failure = result.answered ? std::nullopt : Failure();
    if (failure) {
        result.error = FailureStatus(*failure) == ExitStatus::Busy ? ERROR_BUSY : ERROR_DEVICE_NOT_AVAILABLE;
    }
    return result;
}

std::optional<sim::PortFailure> CSpoolerSession::Failure() const
{
    return m_device ? m_device->Failure() : std::nullopt;
}

std::optional<sim::PortFailure> CSpoolerSession::DocumentFailure()
{
    return m_portMonitor.DocumentFailure(m_portName);
}

void CSpoolerSession::ThrowFailure() const
{
    if (const std::optional<sim::PortFailure> failure = Failure()) {
        throw CHostError(FailureStatus(*failure), Printable(failure->text));
    }
}

void CSpoolerSession::AbandonDocument() const
{
    if (m_device) {
        m_device->Abandon();
    }
}

ExitStatus FailureStatus(const sim::PortFailure& failure)
{
    return failure.systemError == EBUSY ? ExitStatus::Busy : ExitStatus::NoDevice;
}

CQueryResult CSpoolerSession::SendPasswords(const std::string& name,
                                            std::initializer_list<std::string_view> passwords) const
{
    std::wstring requestText = PasswordRequestText(name, passwords);
    CQueryResult result = Act(requestText);
    Wipe(requestText);
    return result;
}

std::string CSpoolerSession::QueryErrorText(DWORD error) const
{
    // What the device itself reports says more than the last error that the monitor makes of it.
    if (const std::optional<sim::PortFailure> failure = Failure()) {
        return Printable(failure->text);
    }
    if (error == kNotServedError) {
        return "the printer does not answer; it may be serving another client: nothing was changed, try "
               "again "
               "later";
    }
    return HasDevice() ? QueryErrorWords(error) : "the port is a file: there is no printer to query";
}

std::optional<std::string> CSpoolerSession::DeviceId() const
{
    std::string deviceId(kLongestDeviceId, '\0');
    DWORD count = 0;
    if (!Table().pfnGetPrinterDataFromPort(m_port, IOCTL_PAR_QUERY_DEVICE_ID, nullptr, nullptr, 0,
                                           reinterpret_cast<LPWSTR>(deviceId.data()), kLongestDeviceId,
                                           &count)) {
        return std::nullopt;
    }
    return deviceId.substr(0, count);
}

DWORD CSpoolerSession::StoreValue(std::wstring valueName, DWORD type, std::span<const char> bytes)
{
    // The spooler's function reads them; its parameter is not const.
    const auto data = reinterpret_cast<LPBYTE>(const_cast<char*>(bytes.data()));
    return SetPrinterDataW(m_printer.Get(), valueName.data(), type, data, static_cast<DWORD>(bytes.size()));
}

bool CSpoolerSession::HasValue(std::wstring valueName) const
{
    DWORD size = 0;
    const DWORD error = GetPrinterDataW(m_printer.Get(), valueName.data(), nullptr, nullptr, 0, &size);
    return error == ERROR_SUCCESS || error == ERROR_MORE_DATA;
}

std::optional<CStoredValue> CSpoolerSession::LoadValue(std::wstring valueName) const
{
    DWORD size = 0;
    GetPrinterDataW(m_printer.Get(), valueName.data(), nullptr, nullptr, 0, &size);
    CStoredValue value{.type = 0, .bytes = std::string(size, '\0')};
    const DWORD error = GetPrinterDataW(m_printer.Get(), valueName.data(), &value.type,
                                        reinterpret_cast<LPBYTE>(value.bytes.data()), size, &size);
    return error == ERROR_SUCCESS ? std::optional(std::move(value)) : std::nullopt;
}

DWORD CSpoolerSession::RemoveValue(std::wstring valueName)
{
    return DeletePrinterDataW(m_printer.Get(), valueName.data());
}

CPublishedValues CSpoolerSession::PublishedValues() const
{
    const HANDLE printer = m_printer.Get();
    return {ReadNumber(printer, L"PrinterStatus"), ReadNumber(printer, L"PrinterError"),
            ReadNumber(printer, L"DeviceError"), ReadNumber(printer, L"CardCount")};
}

CDocument::CDocument(CSpoolerSession& session, const std::wstring& name)
    : m_session(session), m_jobId(spooler::SubmitJob(session.PrinterName(), name))
{
    std::wstring printerName = session.PrinterName();
    std::wstring documentName = name;
    std::wstring dataType = L"RAW";
    DOC_INFO_1W info{documentName.data(), nullptr, dataType.data()};
    m_open = session.Table().pfnStartDocPort(session.m_port, printerName.data(), m_jobId, 1,
                                             reinterpret_cast<LPBYTE>(&info)) != FALSE;
    if (!m_open) {
        const DWORD error = GetLastError();
        spooler::RemoveJob(printerName, m_jobId);
        session.ThrowFailure();
        throw CHostError(PortStatus(error),
                         "cannot start the document on this port: " + PortErrorWords(error));
    }
}

CDocument::~CDocument()
{
    if (m_open) {
        End();
    }
    spooler::RemoveJob(m_session.PrinterName(), m_jobId);
}

DWORD CDocument::Write(std::span<char> bytes)
{
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    if (!m_session.Table().pfnWritePort(m_session.m_port, reinterpret_cast<LPBYTE>(bytes.data()), size,
                                        &written)) {
        throw CHostError(ExitStatus::NoDevice,
                         "cannot send the job's data: " + PortErrorWords(GetLastError()));
    }
    return std::min(written, size);
}

void CDocument::DeleteJob() { SetJobW(m_session.m_printer.Get(), m_jobId, 0, nullptr, JOB_CONTROL_DELETE); }

bool CDocument::End()
{
    m_open = false;
    return m_session.Table().pfnEndDocPort(m_session.m_port) != FALSE;
}

} // namespace zrtmon::host
