#include "platform/posix/virtual_time.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/posix/wait_engine.h"

namespace zrtmon::posix {

using ClockList = CIntrusiveList<Waiter, ClockTag>;

void CVirtualTime::AddParticipant()
{
    ++m_participants;
    ++m_running;
}

void CVirtualTime::RemoveParticipant()
{
    --m_participants;
    --m_running;
    AdvanceWhileIdle();
}

void CVirtualTime::Park(Waiter& waiter, DWORD timeoutMs)
{
    waiter.clock = this;
    waiter.counted = waiter.thread.participantOf == m_generation;
    waiter.deadlineMs = timeoutMs == INFINITE ? kNoDeadline : m_nowMs + timeoutMs;
    m_waiters.PushBack(waiter);
    if (waiter.counted) {
        --m_running;
        AdvanceWhileIdle();
    }
}

void CVirtualTime::NoteAwake(Waiter& waiter)
{
    ClockList::Unlink(waiter);
    waiter.clock = nullptr;
    if (waiter.counted) {
        ++m_running;
    }
}

void CVirtualTime::ReleaseWaiters()
{
    for (Waiter* waiter = m_waiters.First(); waiter;) {
        Waiter* const next = ClockList::Next(*waiter);
        if (waiter->deadlineMs == kNoDeadline) {
            NoteAwake(*waiter);
        } else {
            waiter->Wake(WakeReason::TimedOut);
        }
        waiter = next;
    }
}

void CVirtualTime::AdvanceWhileIdle()
{
    while (m_participants != 0 && m_running == 0) {
        if (EarliestDeadline(/*countedOnly=*/true) == kNoDeadline) {
            ReportDeadlock();
        }
        m_nowMs = EarliestDeadline(/*countedOnly=*/false);
        WakeDue();
    }
}

uint64_t CVirtualTime::EarliestDeadline(bool countedOnly) const
{
    uint64_t earliest = kNoDeadline;
    for (Waiter* waiter = m_waiters.First(); waiter; waiter = ClockList::Next(*waiter)) {
        if (waiter->counted || !countedOnly) {
            earliest = std::min(earliest, waiter->deadlineMs);
        }
    }
    return earliest;
}

void CVirtualTime::WakeDue()
{
    for (Waiter* waiter = m_waiters.First(); waiter;) {
        Waiter* const next = ClockList::Next(*waiter);
        if (waiter->deadlineMs <= m_nowMs) {
            waiter->Wake(WakeReason::TimedOut);
        }
        waiter = next;
    }
}

void CVirtualTime::ReportDeadlock() const
{
    std::fprintf(stderr, "virtual clock: deadlock at %llu ms, every thread waits without a limit:",
                 static_cast<unsigned long long>(m_nowMs));
    for (Waiter* waiter = m_waiters.First(); waiter; waiter = ClockList::Next(*waiter)) {
        if (waiter->counted) {
            std::fprintf(stderr, " thread %llu for %s;",
                         static_cast<unsigned long long>(waiter->thread.number), waiter->kind);
        }
    }
    std::fputc('\n', stderr);
    std::abort();
}

} // namespace zrtmon::posix
