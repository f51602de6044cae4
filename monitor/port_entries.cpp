#include <memory>
#include <new>
#include <utility>

#include "link/monitor.h"
#include "link/print_monitor_zrt.h"
#include "monitor/entry_guard.h"
#include "monitor/entry_points.h"
#include "monitor/port_list.h"
#include "monitor/port_record.h"
#include "security/monitor_security.h"

namespace zrtmon {

namespace {

bool IsGiven(const wchar_t* name) { return name && *name; }

bool HasRequiredEntries(const MONITOR2& table)
{
    return table.pfnOpenPort && table.pfnClosePort && table.pfnStartDocPort && table.pfnEndDocPort &&
           table.pfnReadPort && table.pfnWritePort;
}

/// The port's device link with its printer model, or null.
std::unique_ptr<CMonitor> MakeDeviceLink()
{
    try {
        return std::make_unique<CMonitorSecurity>(std::make_unique<CPrintMonitorZRT>());
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

/// Undoes OpenAndListPort; the last error stays.
void DropPort(PortRecord* port)
{
    const DWORD error = GetLastError();
    port->lowerMonitor.pfnClosePort(port->lowerPort);
    UnlistPort(port);
    CPortRecordDeleter{}(port);
    SetLastError(error);
}

BOOL OpenPortAbove(HANDLE lowerMonitor, const wchar_t* portName, const MONITOR2& lowerTable, PHANDLE port)
{
    PortRecord* record = OpenAndListPort(lowerMonitor, portName, lowerTable);
    if (!record) {
        return FALSE;
    }
    std::unique_ptr<CMonitor> deviceLink = MakeDeviceLink();
    if (!deviceLink) {
        DropPort(record);
        return FALSE;
    }
    SetDeviceLink(record, deviceLink.release());
    *port = record;
    return TRUE;
}

} // namespace

BOOL WINAPI OpenPortEx(HANDLE /*monitor*/, HANDLE lowerMonitor, LPWSTR portName, LPWSTR printerName,
                       PHANDLE port, MONITOR2* lowerTable)
{
    if (port) {
        *port = nullptr;
    }
    if (!IsGiven(portName) || !IsGiven(printerName) || !port || !lowerTable) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const MONITOR2 table = CopyMonitorTable(*lowerTable);
    if (!HasRequiredEntries(table)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return GuardEntry(FALSE, [&] { return OpenPortAbove(lowerMonitor, portName, table, port); });
}

BOOL WINAPI ClosePort(HANDLE handle)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!IsValidPort(port)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::unique_ptr<CMonitor> deviceLink(GetDeviceLink(port));
    SetDeviceLink(port, nullptr);
    deviceLink.reset();
    return GuardEntry(FALSE, [&]() -> BOOL {
        if (!port->lowerMonitor.pfnClosePort(port->lowerPort)) {
            return FALSE;
        }
        if (!UnlistPort(port)) {
            return Fail(ERROR_INVALID_PARAMETER);
        }
        // The document's thread may still call EndDocPort: the record is kept, but made invalid.
        if (IsDocumentOpen(port)) {
            AbandonPort(port);
        } else {
            CPortRecordDeleter{}(port);
        }
        return TRUE;
    });
}

void WINAPI Shutdown(HANDLE /*monitor*/) {}

} // namespace zrtmon
