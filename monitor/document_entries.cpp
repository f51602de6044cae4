#include <utility>

#include "link/monitor.h"
#include "monitor/entry_guard.h"
#include "monitor/entry_points.h"
#include "monitor/port_list.h"
#include "monitor/port_record.h"

namespace zrtmon {

namespace {

constexpr DWORD kDocumentWaitMs = 5000;
constexpr DWORD kDocInfo2Level = 2;

bool IsChannel(DWORD level, const BYTE* docInfo)
{
    return level == kDocInfo2Level && docInfo &&
           reinterpret_cast<const DOC_INFO_2W*>(docInfo)->dwMode == DI_CHANNEL;
}

/// Closes the document's printer and frees its record, if there is one.
void ReleaseJob(PortRecord* port) { const JobRecordPtr job(std::exchange(port->job, nullptr)); }

/// Rolls back what a document start has done so far; error becomes the last error.
BOOL UndoStart(PortRecord* port, DWORD error)
{
    ReleaseJob(port);
    ReleaseDocument(port);
    return Fail(error);
}

/// Starts a document on a port that has been claimed for it.
BOOL StartClaimedDocument(PortRecord* port, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo)
{
    port->job = MakeJobRecord(printerName, jobId).release();
    if (!port->job) {
        return UndoStart(port, GetLastError());
    }
    SetLastError(ERROR_SUCCESS); // the lower monitor may fail without setting one
    if (!port->lowerMonitor.pfnStartDocPort(port->lowerPort, printerName, jobId, level, docInfo)) {
        return UndoStart(port, GetLastError());
    }
    const BOOL started = GuardEntry(FALSE, [port] { return port->deviceLink->StartDoc(port); });
    if (!started) {
        const DWORD error = GetLastError();
        ReleaseJob(port);
        port->lowerMonitor.pfnEndDocPort(port->lowerPort);
        return UndoStart(port, error);
    }
    return TRUE;
}

} // namespace

BOOL WINAPI StartDocPort(HANDLE handle, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!IsValidPort(port)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (IsChannel(level, docInfo)) {
        return StartLowerChannel(port, printerName, jobId, level, docInfo);
    }
    if (!printerName || !port->deviceLink) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!ClaimDocument(port, kDocumentWaitMs)) {
        return FALSE;
    }
    return StartClaimedDocument(port, printerName, jobId, level, docInfo);
}

BOOL WINAPI WritePort(HANDLE handle, LPBYTE data, DWORD size, LPDWORD written)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!written) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    *written = 0;
    if (!IsValidPort(port) || !port->deviceLink) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!data) {
        return TRUE;
    }
    // The spooler sees a failure as a count of 0, and offers the same bytes again.
    return GuardEntry(TRUE, [&] {
        port->deviceLink->Write(port, data, size, written);
        return TRUE;
    });
}

BOOL WINAPI ReadPort(HANDLE handle, LPBYTE buffer, DWORD size, LPDWORD read)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!IsValidPort(port)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return port->lowerMonitor.pfnReadPort(port->lowerPort, buffer, size, read) ? TRUE : FALSE;
}

BOOL WINAPI EndDocPort(HANDLE handle)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!IsValidPort(port)) {
        TakeAbandonedJob(port).reset();
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (IsValidJob(port->job)) {
        if (port->deviceLink) {
            GuardEntry(FALSE, [port] { return port->deviceLink->EndDoc(port); });
        }
        if (IsDocumentOpen(port)) {
            SetJobW(port->job->printer, port->job->jobId, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER);
        }
        ReleaseJob(port);
    }
    return EndLowerDocument(port);
}

} // namespace zrtmon
