#include "platform/posix/turns.h"

namespace zrtmon::posix {

void Turn::Give()
{
    m_isGiven = true;
    m_given.notify_one();
}

void Turn::Await(Lock& lock)
{
    m_given.wait(lock, [this] { return m_isGiven; });
}

void CTurns::PassOn()
{
    using List = CIntrusiveList<Turn, TurnTag>;
    uint64_t ready = 0;
    for (Turn* turn = m_ready.First(); turn; turn = List::Next(*turn)) {
        ++ready;
    }
    Turn* next = m_ready.First();
    for (uint64_t skip = ready > 1 ? m_random() % ready : 0; skip > 0; --skip) {
        next = List::Next(*next);
    }
    List::Unlink(*next);
    ++m_count;
    next->Give();
}

} // namespace zrtmon::posix
