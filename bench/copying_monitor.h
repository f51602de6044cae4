/// The port below the library in the benchmarks: it copies what is written and returns at once.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace zrtmon::bench {

/// What a lower port has done so far. Its handle is the object's address.
struct CopyingPort {
    /// Bytes written that lie outside this range have been copied on their way here.
    const uint8_t* jobBegin = nullptr;
    const uint8_t* jobEnd = nullptr;
    uint64_t bytesElsewhere = 0;
};

/// The table for such ports; the handle that the lower OpenPort returns is a CopyingPort's
/// address. Reads return the status of a printer without errors.
MONITOR2 CopyingMonitor();

/// Each 64 KiB of a write are copied to the same memory. Called as the spooler would call it, without the
/// library.
BOOL WINAPI WriteCopying(HANDLE port, LPBYTE data, DWORD size, LPDWORD written);

} // namespace zrtmon::bench
