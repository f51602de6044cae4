#pragma once

#include <memory>

#include "link/print_monitor.h"
#include "platform/sync.h"
#include "platform/win32.h"

namespace zrtmon {

class CData;
class CDataPrintJob;
class CDataStatus;
struct PortRecord;

/// The device link: one per open port. It decides when commands may be sent to the printer, runs request
/// chains, carries the job's data so that queries can be sent between cards, watches the job queue at the end
/// of a document and publishes the printer's status as printer data.
///
/// Threads: one job thread per port (StartDoc, Write, EndDoc), any number of query threads
/// (GetPrinterData, SendRecvBidiData). Lock order: channel mutex before exchange mutex; the job thread takes
/// only the exchange mutex. Every wait has a limit.
class CMonitor {
public:
    /// If a lock or event cannot be created, the monitor runs without it: without the channel mutex queries
    /// fail with 170, without the exchange mutex chains run unguarded, without the event EndDoc does not
    /// wait.
    explicit CMonitor(std::unique_ptr<CPrintMonitor> printMonitor);
    virtual ~CMonitor();
    CMonitor(const CMonitor&) = delete;
    CMonitor& operator=(const CMonitor&) = delete;

    /// Ends the job's data: sends what is held back, watches the queue until the printer has printed or the
    /// job was deleted (which cancels it at the printer), lets a running query finish. Always TRUE. Job's
    /// thread.
    virtual BOOL EndDoc(PortRecord* port);

    /// Queries the printer by value name; output receives the answer, 8-bit NUL-terminated text. *returned is
    /// the size needed, including the NUL; if that exceeds outputSize, nothing is copied and the result is
    /// still TRUE. FALSE with last error 87 (unknown name or rejected parameters, at once; failed request),
    /// 170 (printer in use for 5000 ms), 4319 (exchange running for 30000 ms), or as left if the request has
    /// no text. Query threads.
    virtual BOOL GetPrinterData(PortRecord* port, const wchar_t* valueName, const void* input,
                                DWORD inputSize, void* output, DWORD outputSize, DWORD* returned);

    /// A document begins. Job's thread.
    virtual BOOL StartDoc(PortRecord* port);

    /// ERROR_NOT_SUPPORTED: the model has no request for bidi containers.
    virtual DWORD SendRecvBidiData(PortRecord* port, DWORD accessBit, const wchar_t* action,
                                   BIDI_REQUEST_CONTAINER* request, BIDI_RESPONSE_CONTAINER** response);

    /// Carries job data. A buffer is taken over, sent in pieces and reported written over several calls, each
    /// of which must offer the same bytes again; *written is 0 until the last of them. Job's thread.
    virtual BOOL Write(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written);

    /// Cancels what the printer prints. Takes no lock: it may run concurrently with a query's exchange, and
    /// uses a separate request and transport. Job's thread.
    virtual BOOL CancelJob(PortRecord* port);

    /// Queries the printer's status and publishes it as printer data of the open document. Null, *ready TRUE,
    /// if the status cannot be read. Job's thread.
    virtual CDataStatus* RefreshStatus(PortRecord* port, BOOL* ready);

protected:
    /// Runs a request's chain under the exchange mutex. Without force only if the model's CanInterleave
    /// allows it (else last error 170). A request that fails with last error 50 ends the chain as a success.
    BOOL RunRequest(PortRecord* port, CData* request, BOOL force);

    CPrintMonitor& Model() { return *m_printMonitor; }
    HANDLE ExchangeMutex() const { return m_exchangeMutex.Get(); }

private:
    /// A value name and the buffers for its answer.
    struct Query {
        const wchar_t* valueName;
        char* output;
        DWORD outputSize;
        DWORD* returned;
    };
    class CChannelHold;

    HANDLE AcquireChannel(PortRecord* port);
    void ReleaseChannel(PortRecord* port, HANDLE token);
    BOOL RunRequestWithRetry(PortRecord* port, const Query& query);
    bool IsAtBoundary();
    BOOL RunQuery(PortRecord* port, const Query& query);
    BOOL RunChain(PortRecord* port, CData* request);
    BOOL TakeOver(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written);
    bool MustHoldBack(PortRecord* port);
    void FlushHeldData(PortRecord* port);
    void SendAllPending(PortRecord* port, CDataPrintJob& job);
    void WatchJob(PortRecord* port);
    void Publish(PortRecord* port, CDataStatus& status, BOOL* ready);
    DWORD PollIntervalMs();

    std::unique_ptr<CPrintMonitor> m_printMonitor;
    CDataPrintJob* m_jobRequest = nullptr; ///< while a buffer is carried; the model's object
    CHandle m_exchangeMutex;               ///< held while one request chain runs
    CHandle m_channelMutex;                ///< held by the one query that uses the printer
    CHandle m_idleEvent;                   ///< manual-reset; reset while a query holds the channel
    BOOL m_ownsChannel = FALSE;            ///< that query opened a channel; guarded by m_channelMutex
};

} // namespace zrtmon
