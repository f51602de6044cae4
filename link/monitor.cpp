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

constexpr DWORD kChannelWaitMs = 5000;
constexpr DWORD kBusyRetryLimitMs = 5000;
constexpr DWORD kBusyRetryPauseMs = 1;
constexpr DWORD kQueuePollMs = 100;
constexpr DWORD kQueuePollOverlappedMs = 1000;
constexpr DWORD kIdleWaitMs = 30000;
constexpr DWORD kFlushLimitMs = 5000; // without any byte getting through
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

/// Lets go of the channel at the end of a scope; the last error is what it was before.
class CMonitor::ChannelHold {
public:
    ChannelHold(CMonitor& monitor, PortRecord* port, HANDLE token)
        : m_monitor(monitor), m_port(port), m_token(token)
    {
    }
    ~ChannelHold()
    {
        const DWORD error = GetLastError();
        m_monitor.ReleaseChannel(m_port, m_token);
        SetLastError(error);
    }
    ChannelHold(const ChannelHold&) = delete;
    ChannelHold& operator=(const ChannelHold&) = delete;

private:
    CMonitor& m_monitor;
    PortRecord* m_port;
    HANDLE m_token;
};

CMonitor::CMonitor(std::unique_ptr<CPrintMonitor> printMonitor)
    : m_printMonitor(std::move(printMonitor)), m_idleEvent(CreateEventW(nullptr, TRUE, TRUE, nullptr)),
      m_exchangeMutex(CreateMutexW(nullptr, FALSE, nullptr)),
      m_channelMutex(CreateMutexW(nullptr, FALSE, nullptr))
{
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
    if (!m_printMonitor->GetRequest(m_printMonitor->GetRequestCode(valueName))) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const HANDLE token = AcquireChannel(port, valueName);
    if (!token) {
        return FALSE;
    }
    const ChannelHold hold(*this, port, token);
    const Query query{valueName, static_cast<char*>(output), output ? outputSize : 0, returned};
    return RunRequestWithRetry(port, query) && *returned > 0;
}

/// Takes the channel for a query; null with last error 170, 87 or 4319. A request that rejects its parameters
/// opens no channel at the port.
HANDLE CMonitor::AcquireChannel(PortRecord* port, const wchar_t* valueName)
{
    const HANDLE token = m_channelMutex.Get();
    const DWORD outcome = token ? WaitForSingleObject(token, kChannelWaitMs) : WAIT_FAILED;
    if (outcome != WAIT_OBJECT_0) {
        if (outcome == WAIT_ABANDONED) {
            ReleaseMutex(token); // it is ours now, and must not stay so
        }
        SetLastError(ERROR_BUSY);
        return nullptr;
    }
    if (!PrepareRequest(valueName)) {
        const DWORD error = GetLastError();
        ReleaseMutex(token);
        SetLastError(error);
        return nullptr;
    }
    if (m_idleEvent) {
        ResetEvent(m_idleEvent.Get());
    }
    m_ownsChannel = OpenChannel(port);
    if (!m_ownsChannel &&
        GetLastError() != ERROR_BUSY) { // busy: a document is open, whose port serves as well
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

/// Lets the request have its say on the parameters. Under the exchange mutex, because the same object may be
/// running on the job's thread.
BOOL CMonitor::PrepareRequest(const wchar_t* valueName)
{
    const ExchangeHold exchange(m_exchangeMutex.Get());
    if (!exchange) {
        return Fail(ERROR_DEVICE_NOT_AVAILABLE);
    }
    return m_printMonitor->GetRequestByName(valueName) ? TRUE : Fail(ERROR_INVALID_PARAMETER);
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

/// A query goes in only where the bytes that have left end at a border: the scanner, which CanInterleave
/// asks, may be ahead of the printer. What it says lasts only under the exchange mutex.
bool CMonitor::IsAtBorder()
{
    return m_printMonitor->SentJobDataEndsAtBorder() && m_printMonitor->CanInterleave();
}

/// One attempt. Preparing, running and reading out are one hold of the exchange mutex (which its owner may
/// take again), so that no other user of the same request object comes between. An attempt that has no chance
/// leaves the mutex alone: it comes again each millisecond, and a job's thread that meets it there has to
/// wait until the system has woken one thread and then the other.
BOOL CMonitor::RunQuery(PortRecord* port, const Query& query)
{
    if (!IsAtBorder()) {
        return Fail(ERROR_BUSY);
    }
    const ExchangeHold exchange(m_exchangeMutex.Get());
    if (!exchange) {
        return Fail(ERROR_DEVICE_NOT_AVAILABLE);
    }
    if (!IsAtBorder()) {
        return Fail(ERROR_BUSY);
    }
    CData* request = m_printMonitor->GetRequestByName(query.valueName);
    if (!request) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!RunRequest(port, request, FALSE)) {
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
    return ERROR_NOT_SUPPORTED; // no model registers a request for PassthroughOut
}

// ---------------------------------------------------------------------------------------------
// Request chains

BOOL CMonitor::RunRequest(PortRecord* port, CData* request, BOOL force)
{
    const ExchangeHold exchange(m_exchangeMutex.Get());
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
            SetLastError(
                ERROR_SUCCESS); // not every failure sets one, and an old 50 must not be read as this one's
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
    const ExchangeHold exchange(m_exchangeMutex.Get());
    if (!exchange) {
        return Fail(ERROR_DEVICE_NOT_AVAILABLE);
    }
    const BOOL sent = WriteLowerPort(port, data, size, written);
    *written = std::min(*written, size);
    return sent;
}

/// Between cards, while the printer says that it is not ready for more.
bool CMonitor::MustHoldBack(PortRecord* port)
{
    if (!m_jobRequest->IsCardSeen() || !m_printMonitor->CanInterleave() ||
        !m_jobRequest->SentDataEndsAtBorder()) {
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

/// Sends what is still held back, whether or not a buffer is in progress.
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

/// The port may take the bytes in parts, or nothing for a while; after 5000 ms without one getting through
/// the rest is given up.
void CMonitor::SendAllPending(PortRecord* port, CDataPrintJob& job)
{
    RunRequest(port, &job, TRUE);
    DWORD lastProgress = GetTickCount(); // from here on: the wait for a query's exchange does not count
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
                m_printMonitor->ResetJob(); // the printer is in the middle of nothing any more
            }
            return;
        }
        if (!m_printMonitor->SentJobDataEndsAtBorder()) {
            return; // a status command would land inside what was given up half sent
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
    PrinterState state; // of a status without an error code: no error, no status code
    if (!status.EvaluateStatus(state)) {
        *ready = FALSE;
    }
    const HANDLE printer = GetJobPrinter(port);
    WriteNumberValue(printer, L"PrinterStatus", state.statusCode);
    WriteNumberValue(printer, L"PrinterError", state.category);
    WriteNumberValue(printer, L"DeviceError", state.errorCode);
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
