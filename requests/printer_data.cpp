#include "requests/printer_data.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <exception>
#include <iterator>

#include "monitor/port_record.h"
#include "platform/sync.h"
#include "platform/wipe.h"
#include "requests/data.h"

namespace zrtmon {

namespace {

constexpr uint32_t kChunkSize = 2048;
constexpr uint32_t kBufferSize = kChunkSize + 1; // one more for the NUL after a full chunk
constexpr DWORD kPortReadLimitMs = 3000;
constexpr unsigned kVendorReadAttempts = 10;
constexpr DWORD kVendorReadPauseMs = 100;
constexpr size_t kVendorHeaderSize = 3;
// A device that never stops sending must not hold the port: the longest reply of the printer
// family takes two chunks.
constexpr unsigned kMaxReplyChunks = 64;
constexpr DWORD kMaxValueSize = 16 << 20;

bool Resize(std::vector<uint8_t>& buffer, size_t size)
{
    try {
        buffer.resize(size);
    } catch (const std::exception&) { // no memory, or more than an address space holds
        return false;
    }
    return true;
}

wchar_t* Mutable(const wchar_t* text)
{
    return const_cast<wchar_t*>(text);
} // the spooler's prototypes lack const

} // namespace

BOOL CPrinterData::Exchange(PortRecord* port, CData* request)
{
    if (!Send(port, request)) {
        return FALSE;
    }
    SetLastError(ERROR_SUCCESS); // an error left by a successful send must not be taken for the reply's
    return Receive(port, request);
}

BOOL CPrinterData::Send(PortRecord* port, CData* request)
{
    uint32_t length = 0;
    const uint8_t* command = request->GetCommand(&length);
    if (command && length > 0) {
        BOOL sent = FALSE;
        switch (request->GetSendMethod()) {
        case CData::kSendNothing:
            sent = TRUE;
            break;
        case CData::kSendToPort:
            sent = SendToPort(port, command, &length);
            break;
        case CData::kSendVendorControl:
            sent = SendVendorControl(port, command, length);
            break;
        default:
            break;
        }
        request->SetSentLength(length);
        if (!sent) {
            return FALSE;
        }
    }
    if (const uint32_t delayMs = request->GetSendDelay()) {
        Sleep(delayMs);
    }
    return TRUE;
}

BOOL CPrinterData::SendToPort(PortRecord* port, const uint8_t* command, uint32_t* length)
{
    DWORD written = 0;
    const BOOL sent = WriteLowerPort(port, command, *length, &written);
    *length = std::min<uint32_t>(written, *length);
    return sent;
}

BOOL CPrinterData::SendVendorControl(PortRecord* port, const uint8_t* command, uint32_t length)
{
    if (!Resize(m_buffer, kVendorHeaderSize + length)) {
        return FALSE;
    }
    std::fill_n(m_buffer.begin(), kVendorHeaderSize, uint8_t{0});
    std::copy_n(command, length, m_buffer.begin() + kVendorHeaderSize);
    DWORD returned = 0;
    return PortControl(port, IOCTL_USBPRINT_VENDOR_SET_COMMAND, m_buffer.data(),
                       static_cast<DWORD>(m_buffer.size()), nullptr, 0, &returned);
}

BOOL CPrinterData::Receive(PortRecord* port, CData* request)
{
    if (!Resize(m_buffer, kBufferSize)) {
        return request->GetReceiveMethod() == CData::kReceiveNothing; // without a reply no buffer is needed
    }
    for (unsigned chunk = 0; chunk < kMaxReplyChunks; ++chunk) {
        uint32_t length = 0;
        if (!ReceiveChunk(port, request->GetReceiveMethod(), &length)) {
            return FALSE;
        }
        if (length > 0) {
            m_buffer[length] = 0;
            if (!request->ProcessReply(reinterpret_cast<const char*>(m_buffer.data()), length)) {
                return FALSE;
            }
        }
        if (length < kChunkSize) {
            return TRUE;
        }
    }
    return FALSE;
}

BOOL CPrinterData::ReceiveChunk(PortRecord* port, uint32_t method, uint32_t* length)
{
    switch (method) {
    case CData::kReceiveNothing:
        *length = 0;
        return TRUE;
    case CData::kReceiveFromPort: {
        DWORD read = 0;
        const BOOL received = ReadLowerPort(port, m_buffer.data(), kChunkSize, &read, kPortReadLimitMs);
        *length = std::min<uint32_t>(read, kChunkSize);
        return received;
    }
    case CData::kReceiveVendorControl:
        return ReceiveVendorControl(port, length);
    case CData::kReceiveDeviceId:
        return ReceiveDeviceId(port, length);
    default:
        return FALSE;
    }
}

BOOL CPrinterData::ReceiveVendorControl(PortRecord* port, uint32_t* length)
{
    uint8_t header[kVendorHeaderSize] = {};
    for (unsigned attempt = 0; attempt < kVendorReadAttempts; ++attempt) {
        DWORD returned = 0;
        if (PortControl(port, IOCTL_USBPRINT_VENDOR_GET_COMMAND, header, sizeof header, m_buffer.data(),
                        kChunkSize, &returned)) {
            *length = std::min<uint32_t>(returned, kChunkSize);
            return TRUE;
        }
        Sleep(kVendorReadPauseMs);
    }
    return FALSE;
}

BOOL CPrinterData::ReceiveDeviceId(PortRecord* port, uint32_t* length)
{
    std::fill_n(m_buffer.begin(), kChunkSize, uint8_t{0});
    if (!QueryDeviceId(port, m_buffer.data(), kChunkSize - 1)) {
        return FALSE;
    }
    const auto end = std::find(m_buffer.begin(), m_buffer.begin() + (kChunkSize - 1), uint8_t{0});
    *length = static_cast<uint32_t>(end - m_buffer.begin());
    return TRUE;
}

const char* CPrinterData::ReadValue(const wchar_t* printerName, const wchar_t* valueName)
{
    HANDLE opened = nullptr;
    if (!OpenPrinterW(Mutable(printerName), &opened, nullptr)) {
        return nullptr;
    }
    const CPrinterHandle printer(opened);
    DWORD size = 0;
    GetPrinterDataW(printer.Get(), Mutable(valueName), nullptr, nullptr, 0, &size);
    if (size > kMaxValueSize || !Resize(m_buffer, size_t{size} + 1)) {
        return nullptr;
    }
    DWORD read = 0;
    if (GetPrinterDataW(printer.Get(), Mutable(valueName), nullptr, m_buffer.data(), size, &read) !=
        ERROR_SUCCESS) {
        return nullptr;
    }
    m_valueSize = std::min(read, size);
    m_buffer[m_valueSize] = 0;
    return reinterpret_cast<const char*>(m_buffer.data());
}

void CPrinterData::WipeValue() { Wipe(m_buffer); }

BOOL WriteNumberValue(HANDLE printer, const wchar_t* valueName, int value)
{
    char text[32];
    char* end = std::to_chars(std::begin(text), std::end(text) - 1, value).ptr;
    *end++ = '\0';
    return SetPrinterDataW(printer, Mutable(valueName), REG_BINARY, reinterpret_cast<LPBYTE>(text),
                           static_cast<DWORD>(end - text)) == ERROR_SUCCESS;
}

BOOL DeleteValue(HANDLE printer, const wchar_t* valueName)
{
    return DeletePrinterDataW(printer, Mutable(valueName)) == ERROR_SUCCESS;
}

} // namespace zrtmon
