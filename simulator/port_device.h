/// What a port can be connected to.
#pragma once

#include "platform/win32.h"

namespace zrtmon::sim {

class CCardPrinter;

/// Results are 0 or a Win32 error code. Calls come one at a time.
class IPortDevice {
public:
    virtual ~IPortDevice() = default;
    virtual DWORD Open() = 0;
    virtual void Close() = 0;
    /// A document or a channel begins.
    virtual DWORD Start() = 0;
    /// It ends; wasChannel says which it was.
    virtual DWORD End(bool wasChannel) = 0;
    /// *count is the bytes taken, which may be fewer.
    virtual DWORD Write(const BYTE* data, DWORD size, DWORD* count) = 0;
    /// *count is 0 while nothing is there to be read.
    virtual DWORD Read(BYTE* buffer, DWORD size, DWORD* count) = 0;
    virtual DWORD Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output, DWORD outputSize,
                          DWORD* count) = 0;
    /// Borrowed for the device's life; null if it is not a printer.
    virtual CCardPrinter* Printer() = 0;
};

} // namespace zrtmon::sim
