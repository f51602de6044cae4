#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/win32.h"

namespace zrtmon {

class CData;
struct PortRecord;

/// Carries one request's command to the printer and the reply back, through the port monitor below; the
/// one place where requests meet the port. It also reads named values of a printer's stored data.
///
/// One operation at a time per object: the work buffer is shared by all of them. The device link guards
/// the object of the printer model; others make one of their own. Sets no last error: what a port
/// operation left stands.
class CPrinterData {
public:
    CPrinterData() = default;
    virtual ~CPrinterData() = default;
    CPrinterData(const CPrinterData&) = delete;
    CPrinterData& operator=(const CPrinterData&) = delete;

    /// Sends the request's command by its send method, tells it the count sent, and sleeps its send delay
    /// (also when there was nothing to send). FALSE, without the delay, for a failed send or an unknown
    /// method. When the port takes only a part of a command, or nothing yet, the rest follows for up to 3000
    /// ms: half a command would garble what comes next. Requests that may be sent in parts are left with what
    /// went in one write.
    virtual BOOL Send(PortRecord* port, CData* request);

    /// Reads the reply by the request's receive method, in chunks of at most 2048 bytes, and hands each to
    /// ProcessReply. FALSE when nothing came within the method's limit, when the request refuses a chunk,
    /// for an unknown method, and when the reply does not end within 64 chunks.
    virtual BOOL Receive(PortRecord* port, CData* request);

    /// Send, then Receive.
    BOOL Exchange(PortRecord* port, CData* request);

    /// A value of the named printer's stored data as NUL-terminated bytes, or null. Borrowed until the next
    /// operation on this object; GetValueSize tells the count without the NUL, which the bytes may hold, too.
    const char* ReadValue(const wchar_t* printerName, const wchar_t* valueName);
    size_t GetValueSize() const { return m_valueSize; }
    /// Overwrites a value that held a secret.
    void WipeValue();

private:
    BOOL SendToPort(PortRecord* port, CData* request, const uint8_t* command, uint32_t* length);
    BOOL SendVendorControl(PortRecord* port, const uint8_t* command, uint32_t length);
    BOOL ReceiveChunk(PortRecord* port, uint32_t method, uint32_t* length);
    BOOL ReceiveVendorControl(PortRecord* port, uint32_t* length);
    BOOL ReceiveDeviceId(PortRecord* port, uint32_t* length);

    std::vector<uint8_t> m_buffer;
    size_t m_valueSize = 0;
};

/// Stores a number as decimal text with its NUL (REG_BINARY) in an open printer's data. FALSE as the
/// spooler refuses it; a null printer is refused.
BOOL WriteNumberValue(HANDLE printer, const wchar_t* valueName, int value);

/// Removes a value of an open printer's data.
BOOL DeleteValue(HANDLE printer, const wchar_t* valueName);

} // namespace zrtmon
