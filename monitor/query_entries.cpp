#include "link/monitor.h"
#include "monitor/entry_guard.h"
#include "monitor/entry_points.h"
#include "monitor/port_record.h"

namespace zrtmon {

BOOL WINAPI GetPrinterDataFromPort(HANDLE handle, DWORD controlId, LPWSTR valueName, LPWSTR input,
                                   DWORD inputSize, LPWSTR output, DWORD outputSize, LPDWORD returned)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!IsValidPort(port)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!port->lowerMonitor.pfnGetPrinterDataFromPort) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    if (controlId != 0 || !valueName) {
        return port->lowerMonitor.pfnGetPrinterDataFromPort(port->lowerPort, controlId, valueName, input,
                                                            inputSize, output, outputSize, returned)
                   ? TRUE
                   : FALSE;
    }
    if (!port->deviceLink || !returned) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return GuardEntry(FALSE, [&] {
        return port->deviceLink->GetPrinterData(port, valueName, input, inputSize, output, outputSize,
                                                returned);
    });
}

DWORD WINAPI SendRecvBidiDataFromPort(HANDLE handle, DWORD accessBit, LPCWSTR action,
                                      BIDI_REQUEST_CONTAINER* request, BIDI_RESPONSE_CONTAINER** response)
{
    auto* port = static_cast<PortRecord*>(handle);
    if (!IsValidPort(port)) {
        return ERROR_NOT_SUPPORTED;
    }
    const auto lowerEntry = port->lowerMonitor.pfnSendRecvBidiDataFromPort;
    if (lowerEntry && lowerEntry(port->lowerPort, accessBit, action, request, response) == ERROR_SUCCESS) {
        return ERROR_SUCCESS;
    }
    if (!port->deviceLink) {
        return ERROR_NOT_SUPPORTED;
    }
    return port->deviceLink->SendRecvBidiData(port, accessBit, action, request, response);
}

} // namespace zrtmon
