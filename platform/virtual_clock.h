/// A clock that a test holds. On Windows, whose waits are the system's own, it only measures: tests that
/// choose the tick count or the time throw std::logic_error there.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/win32.h"

namespace zrtmon {

/// While one exists, ticks, sleeps, waits and the local time come from it: time does not move while any
/// participating thread runs, and jumps to the next deadline as soon as every one of them sleeps or
/// waits. Participants are the thread that constructed the clock and those of `CVirtualClock::CClockThread`.
/// A set of participants that all wait without a limit is a deadlock: the process ends with a line that says
/// what each waits for.
///
/// Other threads are served too: they wait on this clock, but it does not stop for them. A wait with a
/// limit that one of them is in when the clock is destroyed times out.
///
/// At most one exists at a time. It must outlive its threads and is destroyed by the thread that made it; any
/// other use ends the process with a line that says what is wrong.
class ZRT_PLATFORM_API CVirtualClock {
public:
    /// A first GetTickCount a quarter of a second before the wrap. On Windows 0, which leaves the system's.
#ifdef _WIN32
    static constexpr DWORD kBeforeWrap = 0;
#else
    static constexpr DWORD kBeforeWrap = 0xFFFFFF00;
#endif

    /// startTick is the first GetTickCount, so that a test can begin shortly before the wrap.
    explicit CVirtualClock(DWORD startTick = 0);
    /// Of its participating threads one runs at a time. At every call into the layer (locks, events, sleeps,
    /// ticks, and all that uses them) a draw from scheduleSeed picks the one that continues, so that a
    /// program whose threads share nothing that bypasses the layer does the same for the same seed.
    CVirtualClock(DWORD startTick, uint64_t scheduleSeed);
    ~CVirtualClock();
    CVirtualClock(const CVirtualClock&) = delete;
    CVirtualClock& operator=(const CVirtualClock&) = delete;

    /// Virtual milliseconds since construction. Any thread.
    uint64_t Elapsed() const;
    /// How many draws there were; 0 without a seed. Any thread.
    uint64_t Draws() const;

    /// Sets the local time of this moment; it runs on from there, and may be set back. Before the first
    /// call it is 2026-01-05 08:00 at construction. The day of the week is ignored.
    /// Throws std::invalid_argument for fields that make no date.
    void SetLocalTime(const SYSTEMTIME& now);

    /// A participating thread: counted from construction on, so that time cannot run away before it starts,
    /// to the end of body, where the mutexes that it still owns are abandoned. An exception that leaves body
    /// ends the process. Join waits on the virtual clock; the destructor joins.
    class ZRT_PLATFORM_API CClockThread {
    public:
        /// Throws std::bad_alloc, or std::system_error when the system gives no thread.
        explicit CClockThread(std::function<void()> body);
        ~CClockThread();
        CClockThread(CClockThread&&) noexcept;
        CClockThread& operator=(CClockThread&&) = delete;
        void Join();

    private:
        struct State;
        std::unique_ptr<State> m_state;
    };
};

} // namespace zrtmon
