/// The time of an installed virtual clock and the threads that it counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/posix/calendar.h"
#include "platform/posix/intrusive_list.h"
#include "platform/posix/seeded_scheduler.h"
#include "platform/win32.h"

namespace zrtmon::posix {

class CWaiter;
struct ThreadState;
struct ClockTag;

inline constexpr uint64_t kNoDeadline = UINT64_MAX;

/// Every function needs the engine's lock. A waiter that is marked awake counts as running from that moment
/// on, long before its thread really runs, so that time cannot move between a signal and its effect.
class CVirtualTime {
public:
    CVirtualTime(uint64_t generation, DWORD startTick) : m_generation(generation), m_startTick(startTick) {}

    /// From now on only one counted thread runs at a time, first the caller. Before others are counted.
    void RunSerially(uint64_t seed) { m_turns.emplace(seed); }
    /// The running thread lets a draw decide whether it continues.
    void Yield(Lock& lock, const ThreadState& thread);
    /// The running thread runs no longer.
    void PassTurn();
    uint64_t Draws() const { return m_turns ? m_turns->Count() : 0; }

    uint64_t Generation() const { return m_generation; }
    uint64_t ElapsedMs() const { return m_nowMs; }
    /// Wraps with the tick's 32 bits.
    DWORD Tick() const { return static_cast<DWORD>(m_startTick + m_nowMs); }

    CalendarTime LocalNow() const { return m_localStart + std::chrono::milliseconds(m_nowMs); }
    void SetLocalNow(CalendarTime now) { m_localStart = now - std::chrono::milliseconds(m_nowMs); }

    /// One more thread that is counted, and runs, or will when its turn comes.
    void AddParticipant(CTurn& start);
    /// The calling thread, the first.
    void AddFirstParticipant();
    /// A running thread that is counted no longer.
    void RemoveParticipant();
    size_t Participants() const { return m_participants; }

    /// The waiter's thread blocks from now on; its deadline is set here. May find it due at once.
    void Park(CWaiter& waiter, DWORD timeoutMs);
    /// The waiter's thread waits for nothing any more. It runs on, or will when its turn comes.
    void NoteAwake(CWaiter& waiter);
    /// Releases waiters that are not counted, before the clock is destroyed: their time is up.
    void ReleaseWaiters();

private:
    bool IsCounted(const ThreadState& thread) const;
    void LetRun(CTurn& turn);
    void Unpark(CWaiter& waiter);
    void AdvanceWhileIdle();
    uint64_t EarliestDeadline(bool countedOnly) const;
    void WakeDue();
    [[noreturn]] void ReportDeadlock() const;

    const uint64_t m_generation;
    const uint64_t m_startTick;
    uint64_t m_nowMs = 0;
    CalendarTime m_localStart = kVirtualLocalStart;
    size_t m_participants = 0;
    size_t m_running = 0; ///< participants that wait for nothing but their turn
    CIntrusiveList<CWaiter, ClockTag> m_waiters;
    std::optional<CScheduler> m_turns; ///< of the participants that are ready and do not run; empty: all run
};

} // namespace zrtmon::posix
