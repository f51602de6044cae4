#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/win32.h"

namespace zrtmon {

class CData;
struct PortRecord;

/// Carries one request's command to the printer and the reply back, through the port monitor below; the
/// only place where requests use the port. It also reads named values of a printer's stored data.
///
/// One operation at a time per object: all of them share the work buffer. The device link guards the
/// printer model's object; other users create their own. Sets no last error: a failed port operation's error
/// is kept.
class CPrinterData {
public:
    CPrinterData() = default;
    virtual ~CPrinterData() = default;
    CPrinterData(const CPrinterData&) = delete;
    CPrinterData& operator=(const CPrinterData&) = delete;

    /// Sends the request's command by its send method, reports the count sent to the request, and sleeps its
    /// send delay (also when there was nothing to send). FALSE, without the delay, for a failed send or an
    /// unknown method. One write, which is not repeated: if the port accepts only a part of the command, or
    /// none of it, and returns TRUE, the command counts as sent.
    virtual BOOL Send(PortRecord* port, CData* request);

    /// Reads the reply by the request's receive method, in chunks of at most 2048 bytes, and passes each to
    /// ProcessReply. FALSE if nothing came within the method's limit, the request rejects a chunk, the
    /// method is unknown, or the reply does not end within 64 chunks.
    virtual BOOL Receive(PortRecord* port, CData* request);

    /// Send, then Receive.
    BOOL Exchange(PortRecord* port, CData* request);

    /// A value of the named printer's stored data as NUL-terminated bytes, or null; also null for one of more
    /// than 16 MiB. Borrowed until the next operation on this object. GetValueSize is the count without the
    /// terminating NUL; the bytes may contain further NULs.
    const char* ReadValue(const wchar_t* printerName, const wchar_t* valueName);
    size_t GetValueSize() const { return m_valueSize; }
    /// Overwrites a value that held a secret.
    void WipeValue();

private:
    static BOOL SendToPort(PortRecord* port, const uint8_t* command, uint32_t* length);
    BOOL SendVendorControl(PortRecord* port, const uint8_t* command, uint32_t length);
    BOOL ReceiveChunk(PortRecord* port, uint32_t method, uint32_t* length);
    BOOL ReceiveVendorControl(PortRecord* port, uint32_t* length);
    BOOL ReceiveDeviceId(PortRecord* port, uint32_t* length);

    std::vector<uint8_t> m_buffer;
    size_t m_valueSize = 0; ///< of the last ReadValue: wide text may contain NUL bytes
};

/// Stores a number as decimal text with its NUL (REG_BINARY) in an open printer's data. FALSE if the spooler
/// refuses it, as it does for a null printer.
BOOL WriteNumberValue(HANDLE printer, const wchar_t* valueName, int value);

/// Removes a value of an open printer's data. FALSE if the spooler refuses.
BOOL DeleteValue(HANDLE printer, const wchar_t* valueName);

} // namespace zrtmon
