#include "platform/posix/virtual_time.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/posix/wait_engine.h"

namespace zrtmon::posix {

using ClockList = CIntrusiveList<CWaiter, ClockTag>;

bool CVirtualTime::IsCounted(const ThreadState& thread) const { return thread.participantOf == m_generation; }

void CVirtualTime::LetRun(CTurn& turn)
{
    if (m_turns) {
        m_turns->Enter(turn);
    } else {
        turn.Give();
    }
}

void CVirtualTime::Yield(Lock& lock, const ThreadState& thread)
{
    if (!m_turns || m_turns->IsEmpty() || !IsCounted(thread)) {
        return;
    }
    CTurn turn;
    m_turns->Enter(turn);
    m_turns->PassOn();
    turn.Await(lock);
}

void CVirtualTime::PassTurn()
{
    if (m_turns && !m_turns->IsEmpty()) {
        m_turns->PassOn();
    }
}

void CVirtualTime::AddFirstParticipant()
{
    ++m_participants;
    ++m_running;
}

void CVirtualTime::AddParticipant(CTurn& start)
{
    ++m_participants;
    ++m_running;
    LetRun(start);
}

void CVirtualTime::RemoveParticipant()
{
    --m_participants;
    --m_running;
    AdvanceWhileIdle();
}

void CVirtualTime::Park(CWaiter& waiter, DWORD timeoutMs)
{
    waiter.clock = this;
    waiter.counted = IsCounted(waiter.thread);
    waiter.deadlineMs = timeoutMs == INFINITE ? kNoDeadline : m_nowMs + timeoutMs;
    m_waiters.PushBack(waiter);
    if (waiter.counted) {
        --m_running;
        AdvanceWhileIdle();
        PassTurn();
    }
}

void CVirtualTime::Unpark(CWaiter& waiter)
{
    ClockList::Unlink(waiter);
    waiter.clock = nullptr;
}

void CVirtualTime::NoteAwake(CWaiter& waiter)
{
    Unpark(waiter);
    if (waiter.counted) {
        ++m_running;
        LetRun(waiter);
    } else {
        waiter.Give();
    }
}

void CVirtualTime::ReleaseWaiters()
{
    for (CWaiter* waiter = m_waiters.First(); waiter;) {
        CWaiter* const next = ClockList::Next(*waiter);
        if (waiter->deadlineMs == kNoDeadline) {
            Unpark(*waiter);
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
    for (CWaiter* waiter = m_waiters.First(); waiter; waiter = ClockList::Next(*waiter)) {
        if (waiter->counted || !countedOnly) {
            earliest = std::min(earliest, waiter->deadlineMs);
        }
    }
    return earliest;
}

void CVirtualTime::WakeDue()
{
    for (CWaiter* waiter = m_waiters.First(); waiter;) {
        CWaiter* const next = ClockList::Next(*waiter);
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
    for (CWaiter* waiter = m_waiters.First(); waiter; waiter = ClockList::Next(*waiter)) {
        if (waiter->counted) {
            std::fprintf(stderr, " thread %llu for %s;",
                         static_cast<unsigned long long>(waiter->thread.number), waiter->kind);
        }
    }
    std::fputc('\n', stderr);
    std::abort();
}

} // namespace zrtmon::posix
