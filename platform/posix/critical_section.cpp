#include "platform/posix/wait_engine.h"

using namespace zrtmon::posix;

namespace {

/// One queue for all sections, which have no room for one of their own; the key is the section's address.
constinit WaitQueue g_sectionWaiters;

CWaiter& FirstWaiterFor(const CRITICAL_SECTION* section)
{
    CWaiter* waiter = g_sectionWaiters.First();
    while (waiter->key != section) {
        waiter = WaitQueue::Next(*waiter);
    }
    return *waiter;
}

void GiveTo(CRITICAL_SECTION* section, const ThreadState& thread)
{
    section->owner = thread.number;
    section->depth = 1;
}

} // namespace

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) noexcept { *section = {}; }

void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) noexcept { *section = {}; }

void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) noexcept
{
    CWaitEngine& engine = CWaitEngine::Get();
    Lock lock = engine.Acquire();
    ThreadState& thread = ThisThread();
    if (section->owner == thread.number) {
        ++section->depth;
        return;
    }
    if (section->owner == 0) {
        GiveTo(section, thread);
        return;
    }
    ++section->waiting;
    CWaiter waiter(thread, "a critical section", section);
    g_sectionWaiters.PushBack(waiter);
    engine.Block(lock, waiter, INFINITE);
}

void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) noexcept
{
    const Lock lock = CWaitEngine::Get().Acquire();
    if (section->owner != ThisThread().number || --section->depth != 0) {
        return;
    }
    section->owner = 0;
    if (section->waiting != 0) {
        --section->waiting;
        CWaiter& next = FirstWaiterFor(section);
        GiveTo(section, next.thread);
        next.Wake(WakeReason::Granted);
    }
}
