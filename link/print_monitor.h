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
/// Requests are created on first use, one for each code, and live as long as the model; all returned pointers
/// are borrowed. The registry may be used from any thread; the request objects themselves, and the transport,
/// only under the device link's exchange mutex or, for the print job, on the document's thread. (The status
/// request, which has no value name, is also read there.)
class CPrintMonitor {
public:
    CPrintMonitor();
    virtual ~CPrintMonitor();
    CPrintMonitor(const CPrintMonitor&) = delete;
    CPrintMonitor& operator=(const CPrintMonitor&) = delete;

    /// Called after each status refresh of the port.
    virtual void OnStatusRefreshed(PortRecord* port);

    /// The scanner is not inside a packet of the print job (or, in the family's model, a card): as far as it
    /// knows, a command may be sent now.
    virtual BOOL CanInterleave();

    /// The print job's end command has been scanned, and bytes are still to be sent.
    virtual BOOL IsJobAtCheckpoint();

    /// The request for a code, or null if the model serves none or memory is exhausted.
    virtual CData* GetRequest(RequestCode code);

    /// The request for a value name, prepared with the whole text, parameters included. Null if the name
    /// is unknown or not served, or the request rejects its parameters.
    virtual CData* GetRequestByName(const wchar_t* valueName);

    virtual CPrinterData* GetTransport();

    /// The status request, or null.
    virtual CDataStatus* GetStatusRequest();

    /// Passes job data to the print-job request. Returns the request if it accepted the data, else null.
    virtual CDataPrintJob* FeedJobData(const uint8_t* data, DWORD size);

    /// Starts a new document. TRUE also if the model has no print-job request.
    virtual BOOL ResetJob();

    /// Whether a second queued job may start before the printer has finished the first.
    virtual BOOL OverlapsJobs();

    /// The code of a value name, whatever its parameters; UnknownRequest if the name is unknown.
    virtual RequestCode GetRequestCode(const wchar_t* valueName);

    /// A separate request for a code, which the registry does not contain; null as for GetRequest. May throw
    /// std::bad_alloc. Any thread.
    virtual std::unique_ptr<CData> CreateRequest(RequestCode code) const;

    /// Whether a value name is served and its parameters are accepted, as a separate request finds them:
    /// needs no lock, whatever the registered request is doing. Reads from the spooler what that request
    /// reads to prepare itself. Any thread.
    bool AcceptsRequest(const wchar_t* valueName);

    /// The print-job request if it has been created, else null. Any thread.
    CDataPrintJob* FindPrintJob() const { return m_printJob; }

    /// The bytes of the job that have been sent to the printer end between two cards, or the document has
    /// ended. Unlike CanInterleave it is also true while a buffer has been taken over and not sent yet. Any
    /// thread; valid only while the caller holds the exchange mutex.
    bool SentJobDataEndsAtBoundary() const;

protected:
    /// The registered request for the code; if there is none, creates it with CreateRequest and registers it.
    CData* FindOrCreate(RequestCode code);

private:
    CData* Find(RequestCode code);

    std::map<RequestCode, std::unique_ptr<CData>> m_requests;
    CCriticalSection m_registryLock; ///< guards m_requests, which the exchange mutex does not cover
    std::atomic<CDataPrintJob*> m_printJob{nullptr}; ///< the registry's object, for threads without its lock
};

} // namespace zrtmon
