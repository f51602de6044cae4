/// The library's interface to the print spooler: the functions in the entry-point table.
///
/// Every function may be called from any spooler thread; documents of one port arrive on one thread. FALSE
/// leaves its reason in the last error. No exception leaves any of them.
#pragma once

#include "platform/win32.h"

namespace zrtmon {

/// Opens a port above the lower monitor's port of that name. FALSE, *port null, with last error 87 (missing
/// argument or lower entry), 170 (already open, case-insensitive), 8, or as the lower OpenPort left it.
BOOL WINAPI OpenPortEx(HANDLE monitor, HANDLE lowerMonitor, LPWSTR portName, LPWSTR printerName, PHANDLE port,
                       MONITOR2* lowerTable);
/// FALSE with last error 87 (not an open port), or as the lower ClosePort left it: the port then stays listed
/// and may be closed again. No other call with this handle may
/// be running.
BOOL WINAPI ClosePort(HANDLE port);
void WINAPI Shutdown(HANDLE monitor);

/// Begins a document (level 1, or 2), or a channel (level 2, dwMode DI_CHANNEL). FALSE with last error 87,
/// 170 (one is still open after 5000 ms or 100 ms), or as the failed step left it; the port is idle again.
BOOL WINAPI StartDocPort(HANDLE port, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo);
/// TRUE for every open port that has a device link (FALSE with last error 87 for any other, and without a
/// count to fill in). *written is the number of bytes done; the rest must be offered again.
BOOL WINAPI WritePort(HANDLE port, LPBYTE data, DWORD size, LPDWORD written);
BOOL WINAPI ReadPort(HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read);
/// FALSE with last error 87, or as the lower EndDocPort left it: the port then stays marked open. A document
/// whose port has been closed meanwhile is released, without calls to the lower monitor, and the result is
/// FALSE with 87.
BOOL WINAPI EndDocPort(HANDLE port);

/// Control code 0 and a value name: the device link handles it (see CMonitor::GetPrinterData). Anything else
/// is passed to the lower monitor. FALSE with last error 50 if the lower monitor has no such entry.
BOOL WINAPI GetPrinterDataFromPort(HANDLE port, DWORD controlId, LPWSTR valueName, LPWSTR input,
                                   DWORD inputSize, LPWSTR output, DWORD outputSize, LPDWORD returned);
/// 0 if the lower monitor returned 0, else 50.
DWORD WINAPI SendRecvBidiDataFromPort(HANDLE port, DWORD accessBit, LPCWSTR action,
                                      BIDI_REQUEST_CONTAINER* request, BIDI_RESPONSE_CONTAINER** response);

} // namespace zrtmon

// The two functions that the library exports.
extern "C" {
ZRT_LIBRARY_EXPORT BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
ZRT_LIBRARY_EXPORT MONITOR2* WINAPI InitializePrintMonitor2(MONITORINIT* init, PHANDLE monitor);
}
