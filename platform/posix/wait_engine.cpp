#include "platform/posix/wait_engine.h"

#include <chrono>

#include "platform/never_destroyed.h"
#include "platform/posix/waitable.h"

namespace zrtmon::posix {

namespace {

/// Lets go of what the thread still owns when it ends.
struct CThreadEnd {
    ~CThreadEnd()
    {
        const Lock lock = CWaitEngine::Get().Acquire();
        CMutexObject::AbandonAll(ThisThread());
    }
};

constinit thread_local ThreadState t_state;

/// A second object, because t_state must outlive every destructor that still waits or releases.
void WatchThreadEnd()
{
    thread_local CThreadEnd end;
    static_cast<void>(end);
}

} // namespace

ThreadState& ThisThread()
{
    static std::atomic<uint64_t> lastNumber = 0;
    if (t_state.number == 0) {
        t_state.number = ++lastNumber;
        WatchThreadEnd();
    }
    return t_state;
}

void CWaiter::Wake(WakeReason why)
{
    WaitQueue::Unlink(*this);
    reason = why;
    if (clock) {
        clock->NoteAwake(*this);
    } else {
        Give();
    }
}

void CWaiter::AwaitOnSystemClock(Lock& lock, DWORD timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!IsAwake()) {
        if (timeoutMs == INFINITE) {
            m_given.wait(lock);
        } else if (m_given.wait_until(lock, deadline) == std::cv_status::timeout && !IsAwake()) {
            Wake(WakeReason::TimedOut);
        }
    }
}

CWaitEngine& CWaitEngine::Get() { return NeverDestroyed<CWaitEngine>(); }

Lock CWaitEngine::Acquire()
{
    Lock lock(m_mutex);
    if (m_virtual) {
        m_virtual->Yield(lock, ThisThread());
    }
    return lock;
}

WakeReason CWaitEngine::Block(Lock& lock, CWaiter& waiter, DWORD timeoutMs)
{
    if (m_virtual) {
        m_virtual->Park(waiter, timeoutMs);
        waiter.Await(lock);
    } else {
        waiter.AwaitOnSystemClock(lock, timeoutMs);
    }
    return waiter.reason;
}

void CWaitEngine::InstallVirtual(DWORD startTick)
{
    m_virtual.emplace(++m_generation, startTick);
    m_isVirtual.store(true, std::memory_order_release);
}

void CWaitEngine::RemoveVirtual()
{
    m_virtual->ReleaseWaiters();
    m_isVirtual.store(false, std::memory_order_release);
    m_virtual.reset();
}

} // namespace zrtmon::posix
