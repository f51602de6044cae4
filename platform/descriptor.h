/// Waiting for a file descriptor. Only where the system has them.
#pragma once

#include "platform/win32.h"

namespace zrtmon {

enum class DescriptorEvent {
    Readable, ///< bytes can be read, or the end of the stream is reached
    Writable, ///< bytes are taken
};

/// Waits until the event, an error or a hang-up is there, or timeoutMs have passed; returns whether it is
/// there. Time is the installed clock's: on a virtual one the descriptor is polled after each virtual
/// millisecond, so that no real time passes. Signals do not end the wait. Any thread.
ZRT_PLATFORM_API bool WaitForDescriptor(int descriptor, DescriptorEvent event, DWORD timeoutMs) noexcept;

} // namespace zrtmon
