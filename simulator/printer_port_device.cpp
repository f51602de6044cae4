#include "simulator/printer_port_device.h"

#include <algorithm>
#include <cstring>

namespace zrtmon::sim {

namespace {
constexpr DWORD kVendorHeadBytes = 3; // request and value of the control transfer
}

DWORD CPrinterPortDevice::End(bool wasChannel)
{
    if (!wasChannel) {
        m_printer.EndDocument();
    }
    return ERROR_SUCCESS;
}

DWORD CPrinterPortDevice::Write(const BYTE* data, DWORD size, DWORD* count)
{
    *count = m_writeLimit > 0 ? std::min(size, m_writeLimit) : size;
    m_printer.Receive(data, *count);
    return ERROR_SUCCESS;
}

DWORD CPrinterPortDevice::Read(BYTE* buffer, DWORD size, DWORD* count)
{
    *count = static_cast<DWORD>(m_printer.TakeReply(buffer, size));
    return ERROR_SUCCESS;
}

DWORD CPrinterPortDevice::Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output,
                                  DWORD outputSize, DWORD* count)
{
    switch (code) {
    case IOCTL_USBPRINT_VENDOR_SET_COMMAND:
        return SetCommand(input, inputSize);
    case IOCTL_USBPRINT_VENDOR_GET_COMMAND:
        return GetCommand(inputSize, output, outputSize, count);
    case IOCTL_PAR_QUERY_DEVICE_ID:
        return QueryId(output, outputSize, count);
    default:
        return ERROR_NOT_SUPPORTED;
    }
}

DWORD CPrinterPortDevice::SetCommand(const BYTE* input, DWORD inputSize)
{
    if (!input || inputSize < kVendorHeadBytes) {
        return ERROR_INVALID_PARAMETER;
    }
    m_printer.Receive(input + kVendorHeadBytes, inputSize - kVendorHeadBytes);
    return ERROR_SUCCESS;
}

DWORD CPrinterPortDevice::GetCommand(DWORD inputSize, BYTE* output, DWORD outputSize, DWORD* count)
{
    if (inputSize < kVendorHeadBytes || !output) {
        return ERROR_INVALID_PARAMETER;
    }
    *count = static_cast<DWORD>(m_printer.TakeReply(output, outputSize));
    return *count > 0 ? ERROR_SUCCESS : ERROR_GEN_FAILURE;
}

DWORD CPrinterPortDevice::QueryId(BYTE* output, DWORD outputSize, DWORD* count) const
{
    const std::string id = m_printer.DeviceId();
    if (!output || outputSize < id.size()) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(output, id.data(), id.size());
    *count = static_cast<DWORD>(id.size());
    return ERROR_SUCCESS;
}

} // namespace zrtmon::sim
