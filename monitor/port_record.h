#pragma once

#include <cstdint>
#include <memory>

#include "platform/win32.h"

namespace zrtmon {

class CMonitor;

inline constexpr DWORD PORT_DOC_OPEN = 1; ///< a document or a channel is open on the port

/// An open document, from StartDocPort to EndDocPort. One block of GlobalAlloc memory; the printer name
/// follows the fields.
struct JobRecord {
    char signature[4];
    DWORD jobId;
    wchar_t* printerName;
    HANDLE printer; ///< open printer, owned
    char signatureEnd[4];
};

/// An open port. Its address is the handle that the spooler holds. One block of GlobalAlloc memory; the port
/// name follows the fields.
struct PortRecord {
    char signature[4];
    wchar_t* portName;
    MONITOR2 lowerMonitor; ///< members that the lower table does not have are null
    HANDLE lowerPort;
    DWORD flags;          ///< PORT_DOC_OPEN; read and written atomically
    CMonitor* deviceLink; ///< owned by the port: created by OpenPortEx, destroyed by ClosePort
    HANDLE docEvent;      ///< auto-reset, signalled while no document or channel is open; may be null
    JobRecord* job;       ///< owned; null if no document is open. Used by the job's thread only
    PortRecord* next;     ///< guarded by the port list's lock
    char signatureEnd[4];
};

struct CPortRecordDeleter {
    void operator()(PortRecord* port) const;
};
struct CJobRecordDeleter {
    void operator()(JobRecord* job) const;
};
using PortRecordPtr = std::unique_ptr<PortRecord, CPortRecordDeleter>;
using JobRecordPtr = std::unique_ptr<JobRecord, CJobRecordDeleter>;

/// A record with its signatures, its name and the members that both tables have; null with the allocator's
/// last error.
PortRecordPtr MakePortRecord(const wchar_t* portName, const MONITOR2& lowerMonitor);

/// A record with its signatures and names and the printer opened, with administer access if that is granted,
/// else with no defaults. Null with the last error of the failed step.
JobRecordPtr MakeJobRecord(const wchar_t* printerName, DWORD jobId);

/// Copies the members that both the lower table (by its cbSize) and ours have; the others are null.
MONITOR2 CopyMonitorTable(const MONITOR2& lowerMonitor);

// The next five take a valid record. Any thread.

/// Marks the port as having a document or channel, after waiting up to limitMs for an open one to end. FALSE
/// with last error 170 if one is still open then.
BOOL ClaimDocument(PortRecord* port, DWORD limitMs);
/// Clears the mark and lets the next document or channel in.
void ReleaseDocument(PortRecord* port);

/// A document or a channel is open on the port.
bool IsDocumentOpen(PortRecord* port);

/// Opens a channel at the lower monitor with these arguments, after waiting up to 100 ms for an open document
/// or channel to end. FALSE with last error 170 (one is still open), or the lower monitor's, the port idle
/// again.
BOOL StartLowerChannel(PortRecord* port, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo);

/// EndDocPort of the lower monitor, then ReleaseDocument if it succeeded.
BOOL EndLowerDocument(PortRecord* port);

// Every operation below accepts any pointer, and returns FALSE or null if it is not a valid record. Any
// thread, unless noted otherwise.

BOOL IsValidPort(const PortRecord* port);
BOOL IsValidJob(const JobRecord* job);

CMonitor* GetDeviceLink(const PortRecord* port);
void SetDeviceLink(PortRecord* port, CMonitor* deviceLink);

/// The open document's printer handle, or null. Job's thread.
HANDLE GetJobPrinter(const PortRecord* port);
/// The open document's printer name, or null. Borrowed until the document ends. Job's thread.
const wchar_t* GetJobPrinterName(const PortRecord* port);

/// Opens a channel: a document without a job, in which commands can be sent while nothing prints. FALSE with
/// last error 87 for an invalid port, else as StartLowerChannel.
BOOL OpenChannel(PortRecord* port);
/// Ends the channel. If the lower monitor refuses, the port stays marked open.
void CloseChannel(PortRecord* port);

BOOL WriteLowerPort(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written);
/// Reads every 10 ms until a read returns at least one byte, for at most limitMs (0: does not read).
BOOL ReadLowerPort(PortRecord* port, uint8_t* buffer, DWORD size, DWORD* read, DWORD limitMs);

/// A device control passed through the lower monitor. FALSE with last error 87 (invalid port), 50 (the
/// lower monitor has no GetPrinterDataFromPort) or the lower monitor's.
BOOL PortControl(PortRecord* port, DWORD controlCode, const uint8_t* input, DWORD inputSize, uint8_t* output,
                 DWORD outputSize, DWORD* returned);
/// The device's IEEE 1284 device ID. FALSE also if it is empty.
BOOL QueryDeviceId(PortRecord* port, uint8_t* output, DWORD outputSize);

/// Sets the last error, as the last act before failing: cleaning up would overwrite it.
inline BOOL Fail(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

} // namespace zrtmon
