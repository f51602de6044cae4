/// What a port can be connected to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/win32.h"

namespace zrtmon::sim {

class CCardPrinter;

/// Why a device does not go on.
struct PortFailure {
    int systemError = 0;     ///< an errno number
    std::string text;        ///< one line: what was tried, what the system said, what would do
    uint64_t bytesTaken = 0; ///< of the document: at most so many have reached the device
};

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

    // Concurrently with the calls above, on any thread:

    /// What failed in the document or channel that was started last, also when it did not start or has ended.
    virtual std::optional<PortFailure> Failure() { return std::nullopt; }
    /// Whether the device has sent something since the document or channel was started.
    virtual bool HasReplied() { return true; }
    /// Gives up the document or channel: from now to its end nothing more is sent, and nothing is waited for.
    virtual void Abandon() {}
};

} // namespace zrtmon::sim
