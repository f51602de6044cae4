#include "platform/posix/waitable.h"

#include <utility>

namespace zrtmon::posix {

using OwnedList = CIntrusiveList<CMutexObject, OwnedTag>;

WakeReason CWaitable::Take(Lock& lock, ThreadState& thread, DWORD timeoutMs)
{
    if (const std::optional<WakeReason> taken = TryTake(thread)) {
        return *taken;
    }
    if (timeoutMs == 0) {
        return WakeReason::TimedOut;
    }
    const std::shared_ptr<CWaitable> kept = weak_from_this().lock(); // null if no handle owns it
    CWaiter waiter(thread, Kind());
    m_queue.PushBack(waiter);
    return CWaitEngine::Get().Block(lock, waiter, timeoutMs);
}

std::optional<WakeReason> CEventObject::TryTake(ThreadState&)
{
    if (!m_set) {
        return std::nullopt;
    }
    m_set = m_manualReset;
    return WakeReason::Granted;
}

void CEventObject::Set()
{
    if (!m_manualReset && m_queue.First()) {
        m_queue.First()->Wake(WakeReason::Granted);
        return;
    }
    m_set = true;
    while (CWaiter* const waiter = m_queue.First()) {
        waiter->Wake(WakeReason::Granted);
    }
}

CMutexObject::~CMutexObject() { OwnedList::Unlink(*this); }

std::optional<WakeReason> CMutexObject::TryTake(ThreadState& thread)
{
    if (m_owner == &thread) {
        ++m_depth;
        return WakeReason::Granted;
    }
    if (m_owner) {
        return std::nullopt;
    }
    GiveTo(thread);
    return std::exchange(m_abandoned, false) ? WakeReason::Abandoned : WakeReason::Granted;
}

bool CMutexObject::Release(ThreadState& thread)
{
    if (m_owner != &thread) {
        return false;
    }
    if (--m_depth == 0) {
        PassOn(WakeReason::Granted);
    }
    return true;
}

void CMutexObject::AbandonAll(ThreadState& thread)
{
    while (CMutexObject* const mutex = thread.owned.First()) {
        mutex->m_abandoned = !mutex->PassOn(WakeReason::Abandoned);
    }
}

void CMutexObject::GiveTo(ThreadState& thread)
{
    m_owner = &thread;
    m_depth = 1;
    thread.owned.PushBack(*this);
}

bool CMutexObject::PassOn(WakeReason reason)
{
    OwnedList::Unlink(*this);
    m_owner = nullptr;
    CWaiter* const next = m_queue.First();
    if (!next) {
        return false;
    }
    GiveTo(next->thread);
    next->Wake(reason);
    return true;
}

} // namespace zrtmon::posix
