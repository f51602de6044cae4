#include "platform/posix/seeded_scheduler.h"

namespace zrtmon::posix {

void CTurn::Give()
{
    m_isGiven = true;
    m_given.notify_one();
}

void CTurn::Await(Lock& lock)
{
    m_given.wait(lock, [this] { return m_isGiven; });
}

void CScheduler::PassOn()
{
    using List = CIntrusiveList<CTurn, TurnTag>;
    uint64_t ready = 0;
    for (CTurn* turn = m_ready.First(); turn; turn = List::Next(*turn)) {
        ++ready;
    }
    CTurn* next = m_ready.First();
    for (uint64_t skip = ready > 1 ? m_random() % ready : 0; skip > 0; --skip) {
        next = List::Next(*next);
    }
    List::Unlink(*next);
    ++m_count;
    next->Give();
}

} // namespace zrtmon::posix
