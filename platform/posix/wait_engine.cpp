#include "platform/posix/wait_engine.h"

#include <chrono>

#include "platform/never_destroyed.h"
#include "platform/posix/waitable.h"

namespace zrtmon::posix {

namespace {

/// Lets go of what the thread still owns when it ends.
struct ThreadEnd {
    ~ThreadEnd()
    {
        const Lock lock = CWaitEngine::Get().Acquire();
        CMutexObject::AbandonAll(ThisThread());
    }
};

constinit thread_local ThreadState t_state;

/// A second object, because t_state must outlive every destructor that still waits or releases.
void WatchThreadEnd()
{
    thread_local ThreadEnd end;
    static_cast<void>(end);
}

void ParkOnSystemClock(Lock& lock, Waiter& waiter, DWORD timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!waiter.IsAwake()) {
        if (timeoutMs == INFINITE) {
            waiter.wakeUp.wait(lock);
        } else if (waiter.wakeUp.wait_until(lock, deadline) == std::cv_status::timeout && !waiter.IsAwake()) {
            waiter.Wake(WakeReason::TimedOut);
        }
    }
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

void Waiter::Wake(WakeReason why)
{
    WaitQueue::Unlink(*this);
    if (clock) {
        clock->NoteAwake(*this);
    }
    reason = why;
    wakeUp.notify_one();
}

CWaitEngine& CWaitEngine::Get() { return NeverDestroyed<CWaitEngine>(); }

WakeReason CWaitEngine::Block(Lock& lock, Waiter& waiter, DWORD timeoutMs)
{
    if (m_virtual) {
        m_virtual->Park(waiter, timeoutMs);
        waiter.wakeUp.wait(lock, [&waiter] { return waiter.IsAwake(); });
    } else {
        ParkOnSystemClock(lock, waiter, timeoutMs);
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
