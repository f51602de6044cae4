#include "link/monitor.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "link/exchange_hold.h"
#include "link/print_job.h"
#include "monitor/port_record.h"
#include "queries/data_status.h"
#include "requests/data.h"
#include "requests/data_print_job.h"
#include "requests/printer_data.h"

namespace zrtmon {

namespace {

constexpr DWORD kChannelMutexWaitMs = 5000;
constexpr DWORD kBusyRetryLimitMs = 5000;
constexpr DWORD kBusyRetryPauseMs = 1;
constexpr DWORD kQueuePollMs = 100;
constexpr DWORD kQueuePollOverlappedMs = 1000;
constexpr DWORD kIdleWaitMs = 30000;
constexpr DWORD kFlushLimitMs = 5000; // without a byte being accepted
constexpr int kJobEndErrorValue = 1;

size_t ChainTextLength(const CData* request)
{
    size_t length = 0;
    for (; request; request = request->GetNext()) {
        length += request->GetTextLength();
    }
    return length;
}

void CopyChainText(CData* request, char* output)
{
    for (; request; request = request->GetNext()) {
        output = std::copy_n(request->GetText(), request->GetTextLength(), output);
    }
    *output = '\0';
}

} // namespace

/// Releases the channel at the end of a scope and keeps the last error.
class CMonitor::CChannelHold {
public:
    CChannelHold(CMonitor& monitor, PortRecord* port, HANDLE token)
        : m_monitor(monitor), m_port(port), m_token(token)
    {
    }
    ~CChannelHold()
    {
        const DWORD error = GetLastError();
        m_monitor.ReleaseChannel(m_port, m_token);
        SetLastError(error);
    }
    CChannelHold(const CChannelHold&) = delete;
    CChannelHold& operator=(const CChannelHold&) = delete;

private:
    CMonitor& m_monitor;
    PortRecord* m_port;
    HANDLE m_token;
};

CMonitor::CMonitor(std::unique_ptr<CPrintMonitor> printMonitor) : m_printMonitor(std::move(printMonitor))
{
    m_idleEvent = CHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    m_exchangeMutex = CHandle(CreateMutexW(nullptr, FALSE, nullptr));
    m_channelMutex = CHandle(CreateMutexW(nullptr, FALSE, nullptr));
}

CMonitor::~CMonitor()
{
    m_printMonitor.reset();
    m_idleEvent.Reset();
    m_exchangeMutex.Reset();
    m_channelMutex.Reset();
}

// ---------------------------------------------------------------------------------------------
// Queries

BOOL CMonitor::GetPrinterData(PortRecord* port, const wchar_t* valueName, const void* /*input*/,
                              DWORD /*inputSize*/, void* output, DWORD outputSize, DWORD* returned)
{
    *returned = 0;
    if (!m_printMonitor->AcceptsRequest(valueName)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const HANDLE token = AcquireChannel(port);
    if (!token) {
        return FALSE;
    }
    const CChannelHold hold(*this, port, token);
    const Query query{valueName, static_cast<char*>(output), output ? outputSize : 0, returned};
    return RunRequestWithRetry(port, query) && *returned > 0;
}

/// Takes the channel for a query; null with last error 170 or 87.
HANDLE CMonitor::AcquireChannel(PortRecord* port)
{
    const HANDLE token = m_channelMutex.Get();
    if (!AcquireMutex(token, kChannelMutexWaitMs)) {
        SetLastError(ERROR_BUSY);
        return nullptr;
    }
    if (m_idleEvent) {
        ResetEvent(m_idleEvent.Get());
    }
    m_ownsChannel = OpenChannel(port);
    if (!m_ownsChannel &&
        GetLastError() != ERROR_BUSY) { // busy: a document is open, and its port can be used
        ReleaseChannel(port, token);
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return token;
}

void CMonitor::ReleaseChannel(PortRecord* port, HANDLE token)
{
    if (std::exchange(m_ownsChannel, FALSE)) {
        CloseChannel(port);
    }
    if (m_idleEvent) {
        SetEvent(m_idleEvent.Get());
    }
    ReleaseMutex(token);
}

BOOL CMonitor::RunRequestWithRetry(PortRecord* port, const Query& query)
{
    if (RunQuery(port, query)) {
        return TRUE;
    }
    const DWORD start = GetTickCount();
    while (GetLastError() == ERROR_BUSY && GetTickCount() - start <= kBusyRetryLimitMs) {
        Sleep(kBusyRetryPauseMs);
        if (RunQuery(port, query)) {
            return TRUE;
        }
    }
    return FALSE;
}

/// A query may be sent only where the bytes sent so far end at a boundary: the scanner, which CanInterleave
/// asks, may be ahead of the printer. A query that has opened its own channel knows that no document is open.
/// Under the exchange mutex, without which more of the document may be sent.
bool CMonitor::IsAtBoundary()
{
    return (m_ownsChannel || m_printMonitor->SentJobDataEndsAtBoundary()) && m_printMonitor->CanInterleave();
}

/// One attempt. The request is prepared, run and read out in one hold of the exchange mutex (which its owner
/// may take again), so that no other thread uses the same request object in between. It is prepared only when
/// it can run: some requests read from the spooler to prepare themselves.
BOOL CMonitor::RunQuery(PortRecord* port, const Query& query)
{
    const CExchangeHold exchange(m_exchangeMutex.Get());
    if (!exchange) {
        return Fail(ERROR_DEVICE_NOT_AVAILABLE);
    }
    if (!IsAtBoundary()) {
        return Fail(ERROR_BUSY);
    }
    CData* request = m_printMonitor->GetRequestByName(query.valueName);
    if (!request) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!RunChain(port, request)) {
        return FALSE;
    }
    const auto needed = static_cast<DWORD>(ChainTextLength(request) + 1);
    *query.returned = needed > 1 ? needed : 0;
    if (needed <= query.outputSize) {
        CopyChainText(request, query.output);
    }
    return TRUE;
}

DWORD CMonitor::SendRecvBidiData(PortRecord* /*port*/, DWORD /*accessBit*/, const wchar_t* /*action*/,
                                 BIDI_REQUEST_CONTAINER* /*request*/, BIDI_RESPONSE_CONTAINER** /*response*/)
{
    // No model registers a request for it; one that does has to override this operation, too.
    return m_printMonitor->GetRequest(PassthroughOut) ? ERROR_GEN_FAILURE : ERROR_NOT_SUPPORTED;
}

// ---------------------------------------------------------------------------------------------
// Request chains

BOOL CMonitor::RunRequest(PortRecord* port, CData* request, BOOL force)
{
    const CExchangeHold exchange(m_exchangeMutex.Get());
    if (!exchange) {
        return Fail(ERROR_DEVICE_NOT_AVAILABLE);
    }
    if (!force && !m_printMonitor->CanInterleave()) {
        return Fail(ERROR_BUSY);
    }
    return RunChain(port, request);
}

BOOL CMonitor::RunChain(PortRecord* port, CData* request)
{
    CPrinterData* transport = m_printMonitor->GetTransport();
    if (!transport) {
        return TRUE;
    }
    try {
        for (; request; request = request->GetNext()) {
            // Not every failure sets a last error, and an old 50 must not be taken for this exchange's.
            SetLastError(ERROR_SUCCESS);
            if (!transport->Exchange(port, request)) {
                return GetLastError() == ERROR_NOT_SUPPORTED ? TRUE : Fail(ERROR_INVALID_PARAMETER);
            }
        }
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return TRUE;
}

// ---------------------------------------------------------------------------------------------
// Documents

BOOL CMonitor::StartDoc(PortRecord* /*port*/)
{
    m_jobRequest = nullptr;
    return m_printMonitor->ResetJob();
}

BOOL CMonitor::Write(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written)
{
    *written = 0;
    if (!m_jobRequest) {
        return TakeOver(port, data, size, written);
    }
    m_jobRequest->Reoffer(data, size);
    if (m_jobRequest->HasPending()) {
        return RunRequest(port, m_jobRequest, TRUE);
    }
    if (m_jobRequest->HasSentForBuffer() && MustHoldBack(port)) {
        Sleep(PollIntervalMs());
        return TRUE;
    }
    *written = std::min<DWORD>(m_jobRequest->TakeAcceptedCount(), size);
    m_jobRequest = nullptr;
    return TRUE;
}

BOOL CMonitor::TakeOver(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written)
{
    m_jobRequest = m_printMonitor->FeedJobData(data, size);
    if (m_jobRequest) {
        return TRUE;
    }
    const CExchangeHold exchange(m_exchangeMutex.Get());
    if (!exchange) {
        return Fail(ERROR_DEVICE_NOT_AVAILABLE);
    }
    const BOOL sent = WriteLowerPort(port, data, size, written);
    *written = std::min(*written, size);
    return sent;
}

/// Between cards, while the printer reports that it is not ready for more.
bool CMonitor::MustHoldBack(PortRecord* port)
{
    if (!m_jobRequest->IsCardSeen() || !m_printMonitor->CanInterleave() ||
        !m_jobRequest->SentDataEndsAtBoundary()) {
        return false;
    }
    BOOL ready = TRUE;
    return RefreshStatus(port, &ready) && !ready;
}

BOOL CMonitor::EndDoc(PortRecord* port)
{
    FlushHeldData(port);
    WatchJob(port);
    WriteNumberValue(GetJobPrinter(port), L"PrinterError", kJobEndErrorValue);
    if (m_idleEvent) {
        WaitForSingleObject(m_idleEvent.Get(), kIdleWaitMs);
    }
    return TRUE;
}

/// Sends what is still held back, whether or not a buffer is in progress. No byte of the job follows.
void CMonitor::FlushHeldData(PortRecord* port)
{
    CDataPrintJob* job = m_printMonitor->FindPrintJob();
    if (!job) {
        return;
    }
    job->UseBufferedData();
    if (job->HasPending()) {
        SendAllPending(port, *job);
    }
    job->DropBuffer();
    m_jobRequest = nullptr;
}

/// The port may accept the bytes in parts, or none for a while; the rest is given up once 5000 ms have passed
/// without a byte being accepted.
void CMonitor::SendAllPending(PortRecord* port, CDataPrintJob& job)
{
    RunRequest(port, &job, TRUE);
    // After the first run, whose wait for a query's exchange does not count.
    DWORD lastProgress = GetTickCount();
    while (job.HasPending() && GetTickCount() - lastProgress < kFlushLimitMs) {
        const uint32_t before = job.GetPendingLength();
        RunRequest(port, &job, TRUE);
        if (job.GetPendingLength() < before) {
            lastProgress = GetTickCount();
        } else {
            Sleep(PollIntervalMs());
        }
    }
}

void CMonitor::WatchJob(PortRecord* port)
{
    CPrintJob queue(GetJobPrinter(port));
    for (;;) {
        if (queue.IsFirstJobDeleted()) {
            if (CancelJob(port)) {
                m_printMonitor->ResetJob(); // the printer is not inside a packet or card any more
            }
            return;
        }
        if (m_printMonitor->OverlapsJobs() && queue.HasQueuedJobs()) {
            return;
        }
        BOOL ready = TRUE;
        CDataStatus* status = RefreshStatus(port, &ready);
        if (!status || !status->IsPrinting()) {
            return;
        }
        Sleep(PollIntervalMs());
    }
}

BOOL CMonitor::CancelJob(PortRecord* port)
{
    try {
        const std::unique_ptr<CData> request = m_printMonitor->CreateRequest(CancelPrint);
        if (!request || !m_printMonitor->GetTransport()) {
            return TRUE;
        }
        CPrinterData transport;
        return transport.Exchange(port, request.get());
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

CDataStatus* CMonitor::RefreshStatus(PortRecord* port, BOOL* ready)
{
    *ready = TRUE;
    CData* request = m_printMonitor->GetRequest(Status);
    if (!request || !RunRequest(port, request, FALSE)) {
        return nullptr;
    }
    CDataStatus* status = m_printMonitor->GetStatusRequest();
    if (!status) {
        return nullptr;
    }
    Publish(port, *status, ready);
    return status;
}

void CMonitor::Publish(PortRecord* port, CDataStatus& status, BOOL* ready)
{
    int category = CDataStatus::kNoErrorCategory; // these stay for a status without an error code
    int errorCode = CDataStatus::kNoErrorCode;
    int statusCode = CDataStatus::kNoStatusCode;
    if (!status.EvaluateStatus(category, errorCode, statusCode)) {
        *ready = FALSE;
    }
    const HANDLE printer = GetJobPrinter(port);
    WriteNumberValue(printer, L"PrinterStatus", statusCode);
    WriteNumberValue(printer, L"PrinterError", category);
    WriteNumberValue(printer, L"DeviceError", errorCode);
    int cardCount = 0;
    if (status.GetCardCount(cardCount)) {
        WriteNumberValue(printer, L"CardCount", cardCount);
    }
    m_printMonitor->OnStatusRefreshed(port);
}

DWORD CMonitor::PollIntervalMs()
{
    return m_printMonitor->OverlapsJobs() ? kQueuePollOverlappedMs : kQueuePollMs;
}

} // namespace zrtmon
