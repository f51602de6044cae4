#include "monitor/port_record.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

#include "platform/sync.h"

namespace zrtmon {

namespace {

constexpr char kSignature[4] = {'K', 'T', 'V', 'B'};
constexpr DWORD kOpenChannelWaitMs = 100;
constexpr DWORD kReadPauseMs = 10;

template <typename Record>
bool IsSigned(const Record* record)
{
    return record && std::memcmp(record->signature, kSignature, sizeof kSignature) == 0 &&
           std::memcmp(record->signatureEnd, kSignature, sizeof kSignature) == 0;
}

template <typename Record>
void Sign(Record* record)
{
    std::memcpy(record->signature, kSignature, sizeof kSignature);
    std::memcpy(record->signatureEnd, kSignature, sizeof kSignature);
}

/// A zero-filled record followed by a copy of name, or null.
template <typename Record>
Record* AllocateRecord(const wchar_t* name, wchar_t* Record::*nameField)
{
    const size_t nameBytes = (std::wcslen(name) + 1) * sizeof(wchar_t);
    void* block = GlobalAlloc(GPTR, sizeof(Record) + nameBytes);
    if (!block) {
        return nullptr;
    }
    static_assert(sizeof(Record) % alignof(wchar_t) == 0);
    auto* record = new (block) Record{};
    record->*nameField = reinterpret_cast<wchar_t*>(record + 1);
    std::memcpy(record->*nameField, name, nameBytes);
    Sign(record);
    return record;
}

/// Frees a record. A stale handle to it is invalid as long as the memory is not used again.
template <typename Record>
void FreeRecord(Record* record)
{
    std::memset(record, 0, sizeof *record);
    GlobalFree(record);
}

HANDLE OpenJobPrinter(wchar_t* printerName)
{
    PRINTER_DEFAULTSW defaults{};
    defaults.DesiredAccess = PRINTER_ACCESS_ADMINISTER;
    HANDLE printer = nullptr;
    if (OpenPrinterW(printerName, &printer, &defaults) || OpenPrinterW(printerName, &printer, nullptr)) {
        return printer;
    }
    return nullptr;
}

} // namespace

void CPortRecordDeleter::operator()(PortRecord* port) const
{
    if (port->docEvent) {
        CloseHandle(port->docEvent);
    }
    FreeRecord(port);
}

void CJobRecordDeleter::operator()(JobRecord* job) const
{
    if (job->printer) {
        ClosePrinter(job->printer);
    }
    FreeRecord(job);
}

MONITOR2 CopyMonitorTable(const MONITOR2& lowerMonitor)
{
    constexpr size_t kFirstEntry = offsetof(MONITOR2, pfnEnumPorts);
    constexpr size_t kEntrySize = sizeof(void*);
    MONITOR2 copy{};
    const size_t size = std::min<size_t>(lowerMonitor.cbSize, sizeof copy);
    if (size > kFirstEntry) {
        const size_t wholeEntriesBytes = (size - kFirstEntry) / kEntrySize * kEntrySize;
        std::memcpy(reinterpret_cast<char*>(&copy) + kFirstEntry,
                    reinterpret_cast<const char*>(&lowerMonitor) + kFirstEntry, wholeEntriesBytes);
    }
    copy.cbSize = static_cast<DWORD>(size);
    return copy;
}

PortRecordPtr MakePortRecord(const wchar_t* portName, const MONITOR2& lowerMonitor)
{
    PortRecordPtr port(AllocateRecord<PortRecord>(portName, &PortRecord::portName));
    if (port) {
        port->lowerMonitor = lowerMonitor;
        port->docEvent = CreateEventW(nullptr, FALSE, TRUE, nullptr);
    }
    return port;
}

JobRecordPtr MakeJobRecord(const wchar_t* printerName, DWORD jobId)
{
    JobRecordPtr job(AllocateRecord<JobRecord>(printerName, &JobRecord::printerName));
    if (!job) {
        return nullptr;
    }
    job->jobId = jobId;
    job->printer = OpenJobPrinter(job->printerName);
    if (!job->printer) {
        const DWORD error = GetLastError();
        job.reset();
        SetLastError(error);
    }
    return job;
}

BOOL IsValidPort(const PortRecord* port) { return IsSigned(port); }

BOOL IsValidJob(const JobRecord* job) { return IsSigned(job); }

CMonitor* GetDeviceLink(const PortRecord* port) { return IsValidPort(port) ? port->deviceLink : nullptr; }

void SetDeviceLink(PortRecord* port, CMonitor* deviceLink)
{
    if (IsValidPort(port)) {
        port->deviceLink = deviceLink;
    }
}

HANDLE GetJobPrinter(const PortRecord* port)
{
    return IsValidPort(port) && IsValidJob(port->job) ? port->job->printer : nullptr;
}

const wchar_t* GetJobPrinterName(const PortRecord* port)
{
    return IsValidPort(port) && IsValidJob(port->job) ? port->job->printerName : nullptr;
}

BOOL ClaimDocument(PortRecord* port, DWORD limitMs)
{
    // The event only orders the waiting threads; the flag decides. A thread that wakes and finds the flag set
    // (another thread was first, or the event was left signalled) waits out its limit.
    const DWORD start = GetTickCount();
    for (DWORD elapsed = 0;;) {
        const DWORD outcome =
            port->docEvent ? WaitForSingleObject(port->docEvent, limitMs - elapsed) : DWORD{WAIT_TIMEOUT};
        if (!(std::atomic_ref(port->flags).fetch_or(PORT_DOC_OPEN) & PORT_DOC_OPEN)) {
            return TRUE;
        }
        elapsed = GetTickCount() - start;
        if (outcome != WAIT_OBJECT_0 || elapsed >= limitMs) {
            return Fail(ERROR_BUSY);
        }
    }
}

void ReleaseDocument(PortRecord* port)
{
    std::atomic_ref(port->flags).fetch_and(~PORT_DOC_OPEN);
    if (port->docEvent) {
        SetEvent(port->docEvent);
    }
}

bool IsDocumentOpen(PortRecord* port) { return (std::atomic_ref(port->flags).load() & PORT_DOC_OPEN) != 0; }

BOOL StartLowerChannel(PortRecord* port, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo)
{
    if (!ClaimDocument(port, kOpenChannelWaitMs)) {
        return FALSE;
    }
    SetLastError(ERROR_SUCCESS); // an old 170 would be read as "a document is open"
    if (!port->lowerMonitor.pfnStartDocPort(port->lowerPort, printerName, jobId, level, docInfo)) {
        const DWORD error = GetLastError();
        ReleaseDocument(port);
        return Fail(error);
    }
    return TRUE;
}

BOOL OpenChannel(PortRecord* port)
{
    if (!IsValidPort(port)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    DOC_INFO_2W info{};
    info.dwMode = DI_CHANNEL;
    return StartLowerChannel(port, nullptr, 0, 2, reinterpret_cast<LPBYTE>(&info));
}

void CloseChannel(PortRecord* port)
{
    if (!IsValidPort(port)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return;
    }
    EndLowerDocument(port);
}

BOOL EndLowerDocument(PortRecord* port)
{
    if (!port->lowerMonitor.pfnEndDocPort(port->lowerPort)) {
        return FALSE;
    }
    ReleaseDocument(port);
    return TRUE;
}

BOOL WriteLowerPort(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written)
{
    *written = 0;
    if (!IsValidPort(port)) {
        return FALSE;
    }
    return port->lowerMonitor.pfnWritePort(port->lowerPort, const_cast<LPBYTE>(data), size, written);
}

BOOL ReadLowerPort(PortRecord* port, uint8_t* buffer, DWORD size, DWORD* read, DWORD limitMs)
{
    *read = 0;
    if (!IsValidPort(port)) {
        return FALSE;
    }
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < limitMs) {
        *read = 0;
        if (port->lowerMonitor.pfnReadPort(port->lowerPort, buffer, size, read) && *read > 0) {
            return TRUE;
        }
        Sleep(kReadPauseMs);
    }
    *read = 0;
    return FALSE;
}

BOOL PortControl(PortRecord* port, DWORD controlCode, const uint8_t* input, DWORD inputSize, uint8_t* output,
                 DWORD outputSize, DWORD* returned)
{
    if (!IsValidPort(port)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!port->lowerMonitor.pfnGetPrinterDataFromPort) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    // The prototype types both buffers as wide text, but they contain bytes.
    return port->lowerMonitor.pfnGetPrinterDataFromPort(
        port->lowerPort, controlCode, nullptr, reinterpret_cast<LPWSTR>(const_cast<uint8_t*>(input)),
        inputSize, reinterpret_cast<LPWSTR>(output), outputSize, returned);
}

BOOL QueryDeviceId(PortRecord* port, uint8_t* output, DWORD outputSize)
{
    DWORD returned = 0;
    return PortControl(port, IOCTL_PAR_QUERY_DEVICE_ID, nullptr, 0, output, outputSize, &returned) &&
           returned > 0;
}

} // namespace zrtmon
