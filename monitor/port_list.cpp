#include "monitor/port_list.h"

#include <cstring>
#include <utility>

#include "platform/sync.h"

namespace zrtmon {

namespace {

// Newest first. The list and every next link in it are guarded by PortListLock.
PortRecord* PortList = nullptr;
CRITICAL_SECTION PortListLock;

// Not guarded by PortListLock, because a lower OpenPort may run for long under it.
PortRecord* AbandonedPorts = nullptr;
CRITICAL_SECTION AbandonedPortsLock;

bool IsListed(const wchar_t* portName)
{
    for (const PortRecord* port = PortList; port; port = port->next) {
        if (lstrcmpiW(port->portName, portName) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

void InitializePortList()
{
    InitializeCriticalSection(&PortListLock);
    InitializeCriticalSection(&AbandonedPortsLock);
    PortList = nullptr;
}

PortRecord* OpenAndListPort(HANDLE lowerMonitor, const wchar_t* portName, const MONITOR2& lowerTable)
{
    const CSectionHold hold(&PortListLock);
    if (IsListed(portName)) {
        SetLastError(ERROR_BUSY);
        return nullptr;
    }
    PortRecordPtr port = MakePortRecord(portName, lowerTable);
    if (!port) {
        return nullptr;
    }
    if (!lowerTable.pfnOpenPort(lowerMonitor, port->portName, &port->lowerPort)) {
        const DWORD error = GetLastError();
        port.reset();
        SetLastError(error);
        return nullptr;
    }
    port->next = PortList;
    PortList = port.get();
    return port.release();
}

bool UnlistPort(PortRecord* port)
{
    const CSectionHold hold(&PortListLock);
    for (PortRecord** link = &PortList; *link; link = &(*link)->next) {
        if (*link == port) {
            *link = port->next;
            return true;
        }
    }
    return false;
}

void AbandonPort(PortRecord* port)
{
    if (port->docEvent) {
        CloseHandle(std::exchange(port->docEvent, nullptr));
    }
    std::memset(port->signature, 0, sizeof port->signature);
    const CSectionHold hold(&AbandonedPortsLock);
    port->next = std::exchange(AbandonedPorts, port);
}

JobRecordPtr TakeAbandonedJob(const PortRecord* port)
{
    const CSectionHold hold(&AbandonedPortsLock);
    for (PortRecord* abandoned = AbandonedPorts; abandoned; abandoned = abandoned->next) {
        if (abandoned == port) {
            return JobRecordPtr(std::exchange(abandoned->job, nullptr));
        }
    }
    return nullptr;
}

} // namespace zrtmon
