#pragma once

#include "monitor/port_record.h"
#include "platform/win32.h"

namespace zrtmon {

/// Empties the list of open ports and initialises the locks. Once, when the library is attached to the
/// process.
void InitializePortList();

/// Opens the lower port and lists the record, which the list owns from then on. Null, nothing kept, with last
/// error 170 if a port of that name (case-insensitive) is listed, or as the allocator or the lower OpenPort
/// left it. The lower OpenPort runs under the list's lock, so that no name can be opened twice.
PortRecord* OpenAndListPort(HANDLE lowerMonitor, const wchar_t* portName, const MONITOR2& lowerTable);

/// Removes a record from the list; the caller owns its memory afterwards. False if it is not listed.
bool UnlistPort(PortRecord* port);

/// Keeps the memory of an unlisted record for good: a document was open when its port was closed, and its
/// thread may still return with the handle. The record is invalid for every operation from now on.
void AbandonPort(PortRecord* port);

/// The document that was open when its port was closed; null if this is not such a port or its document has
/// been taken already. Any pointer is allowed.
JobRecordPtr TakeAbandonedJob(const PortRecord* port);

} // namespace zrtmon
