#pragma once

#include "monitor/port_record.h"
#include "platform/win32.h"

namespace zrtmon {

/// Makes the list of open ports empty and its lock ready. Once, when the library is attached to the process.
void InitializePortList();

/// Opens the lower port and lists the record, which the list owns from then on; null with last error 170 when
/// a port of that name is listed (letter case does not count), or as the lower OpenPort left it, and nothing
/// kept. The lower OpenPort runs under the list's lock, so that no name can be opened twice.
PortRecord* OpenAndListPort(HANDLE lowerMonitor, const wchar_t* portName, const MONITOR2& lowerTable);

/// Takes a record off the list; its memory is then the caller's. False when it is not listed.
bool UnlistPort(PortRecord* port);

/// Keeps the memory of an unlisted record for good: a document was open when its port was closed, and its
/// thread may still come back with the handle. The record is invalid for every operation from now on.
void AbandonPort(PortRecord* port);

} // namespace zrtmon
