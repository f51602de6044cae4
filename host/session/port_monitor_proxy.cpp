#include "host/session/port_monitor_proxy.h"

#include <memory>
#include <new>

namespace zrtmon::host {

/// The language monitor's handle of its lower port.
struct CPortMonitorProxy::CPort {
    CPortMonitorProxy& proxy;
    HANDLE lowerPort;
};

struct CPortMonitorProxy::CEntries {
    static CPort& Port(HANDLE port) { return *static_cast<CPort*>(port); }

    static std::string_view View(const void* bytes, DWORD size)
    {
        return bytes ? std::string_view(static_cast<const char*>(bytes), size) : std::string_view();
    }

    /// Makes the call, completes its record and reports it. The last error is that of the call.
    template <typename Invoke>
    static BOOL Observe(CPortMonitorProxy& proxy, CPortCall call, Invoke invoke)
    {
        call.startTick = GetTickCount();
        call.succeeded = invoke(call) != FALSE;
        const DWORD lastError = GetLastError();
        call.lastError = call.succeeded ? ERROR_SUCCESS : lastError;
        call.durationMs = GetTickCount() - call.startTick;
        proxy.m_moved.fetch_add(call.taken + call.received.size(), std::memory_order_relaxed);
        if (proxy.m_observer) {
            proxy.m_observer->OnPortCall(call);
        }
        SetLastError(lastError);
        return call.succeeded;
    }

    static CPortCall Call(const char* name, HANDLE port, std::string_view sent = {})
    {
        return CPortCall{name, port, 0, 0, sent, 0, {}, 0, false, ERROR_SUCCESS};
    }

    static BOOL WINAPI OpenPort(HANDLE monitor, LPWSTR name, PHANDLE port)
    {
        CPortMonitorProxy& proxy = *static_cast<CPortMonitorProxy*>(monitor);
        std::unique_ptr<CPort> opened(new (std::nothrow) CPort{proxy, nullptr});
        if (!opened) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        }
        const BOOL succeeded = Observe(proxy, Call("OpenPort", nullptr), [&](CPortCall& call) {
            const BOOL result = proxy.m_lower.pfnOpenPort(proxy.m_lowerMonitor, name, &opened->lowerPort);
            call.port = opened.get();
            return result;
        });
        if (succeeded) {
            *port = opened.release();
        }
        return succeeded;
    }

    static BOOL WINAPI ClosePort(HANDLE handle)
    {
        CPort& port = Port(handle);
        const BOOL succeeded = Observe(port.proxy, Call("ClosePort", handle), [&](CPortCall&) {
            return port.proxy.m_lower.pfnClosePort(port.lowerPort);
        });
        if (succeeded) {
            delete &port;
        }
        return succeeded;
    }

    static BOOL WINAPI StartDocPort(HANDLE handle, LPWSTR printerName, DWORD jobId, DWORD level,
                                    LPBYTE docInfo)
    {
        CPort& port = Port(handle);
        const bool isChannel = level == 2 && reinterpret_cast<DOC_INFO_2W*>(docInfo)->dwMode == DI_CHANNEL;
        const char* name = isChannel ? "StartDocPort (channel)" : "StartDocPort";
        return Observe(port.proxy, Call(name, handle), [&](CPortCall&) {
            return port.proxy.m_lower.pfnStartDocPort(port.lowerPort, printerName, jobId, level, docInfo);
        });
    }

    static BOOL WINAPI EndDocPort(HANDLE handle)
    {
        CPort& port = Port(handle);
        return Observe(port.proxy, Call("EndDocPort", handle),
                       [&](CPortCall&) { return port.proxy.m_lower.pfnEndDocPort(port.lowerPort); });
    }

    static BOOL WINAPI WritePort(HANDLE handle, LPBYTE data, DWORD size, LPDWORD written)
    {
        CPort& port = Port(handle);
        return Observe(port.proxy, Call("WritePort", handle, View(data, size)), [&](CPortCall& call) {
            const BOOL result = port.proxy.m_lower.pfnWritePort(port.lowerPort, data, size, written);
            call.taken = written ? *written : 0;
            return result;
        });
    }

    static BOOL WINAPI ReadPort(HANDLE handle, LPBYTE buffer, DWORD size, LPDWORD read)
    {
        CPort& port = Port(handle);
        return Observe(port.proxy, Call("ReadPort", handle), [&](CPortCall& call) {
            const BOOL result = port.proxy.m_lower.pfnReadPort(port.lowerPort, buffer, size, read);
            call.received = View(buffer, result && read ? *read : 0);
            return result;
        });
    }

    static BOOL WINAPI GetPrinterDataFromPort(HANDLE handle, DWORD control, LPWSTR valueName, LPWSTR input,
                                              DWORD inputSize, LPWSTR output, DWORD outputSize,
                                              LPDWORD returned)
    {
        CPort& port = Port(handle);
        CPortCall start = Call("GetPrinterDataFromPort", handle, View(input, inputSize));
        start.control = control;
        return Observe(port.proxy, start, [&](CPortCall& call) {
            const BOOL result = port.proxy.m_lower.pfnGetPrinterDataFromPort(
                port.lowerPort, control, valueName, input, inputSize, output, outputSize, returned);
            call.taken = result ? inputSize : 0;
            call.received = View(output, result && returned && *returned <= outputSize ? *returned : 0);
            return result;
        });
    }

    static DWORD WINAPI SendRecvBidiDataFromPort(HANDLE handle, DWORD accessBit, LPCWSTR action,
                                                 BIDI_REQUEST_CONTAINER* request,
                                                 BIDI_RESPONSE_CONTAINER** response)
    {
        CPort& port = Port(handle);
        DWORD result = ERROR_SUCCESS;
        Observe(port.proxy, Call("SendRecvBidiDataFromPort", handle), [&](CPortCall&) {
            result = port.proxy.m_lower.pfnSendRecvBidiDataFromPort(port.lowerPort, accessBit, action,
                                                                    request, response);
            SetLastError(result);
            return result == ERROR_SUCCESS ? TRUE : FALSE;
        });
        return result;
    }
};

CPortMonitorProxy::CPortMonitorProxy(HANDLE lowerMonitor, const MONITOR2& lower, IPortCallObserver* observer)
    : m_lowerMonitor(lowerMonitor), m_lower(lower), m_observer(observer)
{
    m_table.cbSize = sizeof m_table;
    m_table.pfnOpenPort = CEntries::OpenPort;
    m_table.pfnClosePort = CEntries::ClosePort;
    m_table.pfnStartDocPort = CEntries::StartDocPort;
    m_table.pfnEndDocPort = CEntries::EndDocPort;
    m_table.pfnWritePort = CEntries::WritePort;
    m_table.pfnReadPort = CEntries::ReadPort;
    if (lower.pfnGetPrinterDataFromPort) {
        m_table.pfnGetPrinterDataFromPort = CEntries::GetPrinterDataFromPort;
    }
    if (lower.pfnSendRecvBidiDataFromPort) {
        m_table.pfnSendRecvBidiDataFromPort = CEntries::SendRecvBidiDataFromPort;
    }
}

} // namespace zrtmon::host
