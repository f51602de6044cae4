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

/// The device link: one per open port. It decides when the printer may be talked to, runs request chains,
/// carries the job's data so that queries can be slipped in between cards, watches the job queue at the end
/// of a document and publishes the printer's status as printer data.
///
/// Threads: one job thread per port (StartDoc, Write, EndDoc), any number of query threads
/// (GetPrinterData, SendRecvBidiData). Lock order: channel mutex before exchange mutex; the job thread takes
/// only the exchange mutex. Every wait has a limit.
class CMonitor {
public:
    /// A lock or event that cannot be made is done without: without the channel mutex queries fail with 170,
    /// without the exchange mutex chains run unguarded, without the event EndDoc does not wait.
    explicit CMonitor(std::unique_ptr<CPrintMonitor> printMonitor);
    virtual ~CMonitor();
    CMonitor(const CMonitor&) = delete;
    CMonitor& operator=(const CMonitor&) = delete;

    /// Ends the job's data: flushes what is held back, watches the queue until the printer has printed or the
    /// job was deleted (which cancels it at the printer), lets a running query finish. Always TRUE. Job's
    /// thread.
    virtual BOOL EndDoc(PortRecord* port);

    /// Answers a value name with 8-bit NUL-terminated text. *returned is the size needed with the NUL; when
    /// it does not fit, nothing is copied and the result is TRUE all the same. FALSE with last error 87
    /// (unknown name, rejected parameters, failed request), 170 (printer in use for 5000 ms), 4319 (exchange
    /// running for 30000 ms), or as left when the request leaves no text. Query threads.
    virtual BOOL GetPrinterData(PortRecord* port, const wchar_t* valueName, const void* input,
                                DWORD inputSize, void* output, DWORD outputSize, DWORD* returned);

    /// A document begins. Job's thread.
    virtual BOOL StartDoc(PortRecord* port);

    /// No bidi handler of our own: ERROR_NOT_SUPPORTED.
    virtual DWORD SendRecvBidiData(PortRecord* port, DWORD accessBit, const wchar_t* action,
                                   BIDI_REQUEST_CONTAINER* request, BIDI_RESPONSE_CONTAINER** response);

    /// Carries job data. A buffer is taken over, sent in pieces and reported written over several calls, each
    /// of which must offer the same bytes again; *written is 0 until the last of them. Job's thread.
    virtual BOOL Write(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written);

    /// Tells the printer to drop what it prints. Takes no lock: it runs beside a query's exchange, with a
    /// request and a transport of its own. Job's thread.
    virtual BOOL CancelJob(PortRecord* port);

    /// Asks the printer's status and publishes it as printer data of the open document. Null when the status
    /// cannot be had; *ready stays TRUE then. Job's thread.
    virtual CDataStatus* RefreshStatus(PortRecord* port, BOOL* ready);

protected:
    /// Runs a request's chain under the exchange mutex. Without force only when the model's CanInterleave
    /// allows it (else last error 170). A request that fails with last error 50 ends the chain as a success.
    BOOL RunRequest(PortRecord* port, CData* request, BOOL force);

    CPrintMonitor& Model() { return *m_printMonitor; }
    HANDLE ExchangeMutex() const { return m_exchangeMutex.Get(); }

private:
    /// One question of a query thread and its answer's way back.
    struct Query {
        const wchar_t* valueName;
        char* output;
        DWORD outputSize;
        DWORD* returned;
    };
    class ChannelHold;

    HANDLE AcquireChannel(PortRecord* port, const wchar_t* valueName);
    void ReleaseChannel(PortRecord* port, HANDLE token);
    BOOL PrepareRequest(const wchar_t* valueName);
    BOOL RunRequestWithRetry(PortRecord* port, const Query& query);
    bool IsAtBorder();
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
    CHandle m_idleEvent;                   ///< manual-reset; reset while a query holds the channel
    CHandle m_exchangeMutex;               ///< held while one request chain runs
    CHandle m_channelMutex;                ///< held by the one query that uses the printer
    BOOL m_ownsChannel = FALSE;            ///< that query opened a channel; guarded by m_channelMutex
};

} // namespace zrtmon
