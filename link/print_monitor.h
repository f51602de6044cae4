#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "link/request_code.h"
#include "platform/sync.h"
#include "platform/win32.h"

namespace zrtmon {

class CData;
class CDataPrintJob;
class CDataStatus;
class CPrinterData;
struct PortRecord;

/// The printer model: the device link's source of request objects and of the transport.
///
/// Requests are made on first use, one for each code, and live as long as the model; all pointers handed out
/// are lent. The registry may be used from any thread; the request objects themselves, and the transport,
/// only under the device link's exchange mutex or, for the print job, on the document's thread.
class CPrintMonitor {
public:
    CPrintMonitor();
    virtual ~CPrintMonitor();
    CPrintMonitor(const CPrintMonitor&) = delete;
    CPrintMonitor& operator=(const CPrintMonitor&) = delete;

    /// Called after each status refresh of the port.
    virtual void OnStatusRefreshed(PortRecord* port);

    /// No print-job data is half-way through a packet (or, in the family's model, a card): a command may go
    /// in now, as far as the scanner has come.
    virtual BOOL CanInterleave();

    /// The print job has come to its end command and still has bytes to send.
    virtual BOOL IsJobAtCheckpoint();

    /// The request for a code, or null when the model serves none or memory is exhausted.
    virtual CData* GetRequest(RequestCode code);

    /// The request for a value name, prepared with the whole text, parameters included. Null when the name
    /// is unknown or not served, or the request rejects its parameters or has no memory for them.
    virtual CData* GetRequestByName(const wchar_t* valueName);

    virtual CPrinterData* GetTransport();

    /// The status request, null when there is none.
    virtual CDataStatus* GetStatusRequest();

    /// Hands job data to the print-job request. Answers the request when it took them, else null.
    virtual CDataPrintJob* FeedJobData(const uint8_t* data, DWORD size);

    /// Starts a new document. TRUE when the model has no print-job request.
    virtual BOOL ResetJob();

    /// Whether a second queued job may start before the printer has finished the first.
    virtual BOOL OverlapsJobs();

    /// The code of a value name, its parameters not looked at; UnknownRequest for an unknown one.
    virtual RequestCode GetRequestCode(const wchar_t* valueName);

    /// A request of the caller's own for a code, outside the registry; null as GetRequest. May throw
    /// std::bad_alloc. Any thread.
    virtual std::unique_ptr<CData> CreateRequest(RequestCode code) const;

    /// The print-job request if one has been made, else null. Any thread.
    CDataPrintJob* FindPrintJob() const { return m_printJob; }

    /// The bytes of the job that have left for the printer end between two cards. Unlike CanInterleave it
    /// also holds while a buffer has been taken over and not sent yet. Any thread; the answer lasts only
    /// while the caller holds the exchange mutex.
    bool SentJobDataEndsAtBorder() const;

protected:
    /// The registered request for the code; made by CreateRequest and registered when there is none.
    CData* FindOrCreate(RequestCode code);

private:
    CData* Find(RequestCode code);

    CCriticalSection m_registryLock;
    std::map<RequestCode, std::unique_ptr<CData>> m_requests;
    std::atomic<CDataPrintJob*> m_printJob{
        nullptr}; // the registry's object, for threads that only look at it
};

} // namespace zrtmon
