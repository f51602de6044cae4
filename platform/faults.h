/// Failures on request, for tests: the n-th allocation, handle creation or spooler call.
#pragma once

#include <cstdint>

#include "platform/win32.h"

#ifndef ZRT_PLATFORM_API
#define ZRT_PLATFORM_API
#endif

namespace zrtmon {

enum class FaultPoint {
    Allocation,     ///< GlobalAlloc, and operator new where the test program replaces it
    HandleCreation, ///< CreateEventW, CreateMutexW: null with last error 8
    SpoolerCall,    ///< OpenPrinterW, Get/Set/DeletePrinterDataW, EnumJobsW, SetJobW: last error or result 31
};

/// While it exists, call number failAt (from 0) of that kind fails, on whichever thread makes it. One
/// plan at a time for each kind. Construct and destroy while no other thread is inside the layer.
class ZRT_PLATFORM_API CFaultPlan {
public:
    CFaultPlan(FaultPoint point, uint64_t failAt);
    ~CFaultPlan();
    CFaultPlan(const CFaultPlan&) = delete;
    CFaultPlan& operator=(const CFaultPlan&) = delete;

    /// Whether the call that was to fail has come.
    bool Fired() const;
    /// Calls of that kind since construction.
    uint64_t Calls() const;

private:
    FaultPoint m_point;
};

/// Calls made by this thread while one exists are neither counted nor failed: for the parts of a test that
/// represent the world outside (the simulated printer, the test's own bookkeeping).
class ZRT_PLATFORM_API CFaultExemption {
public:
    CFaultExemption();
    ~CFaultExemption();
    CFaultExemption(const CFaultExemption&) = delete;
    CFaultExemption& operator=(const CFaultExemption&) = delete;

    /// Whether the calling thread has one.
    static bool IsActive() noexcept;
};

/// Counts one call of that kind; true when it is the one that must fail. The layer calls it at each of
/// its own points; a test program that replaces operator new calls it there.
ZRT_PLATFORM_API bool ShouldFail(FaultPoint point) noexcept;

/// Events and mutexes that are open in this process. Neither count is there on Windows.
ZRT_PLATFORM_API uint64_t OpenHandleCount() noexcept;
/// Blocks of GlobalAlloc that have not been freed.
ZRT_PLATFORM_API uint64_t GlobalBlockCount() noexcept;

} // namespace zrtmon
