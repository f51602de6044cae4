/// Who may run when threads run one at a time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <random>

#include "platform/posix/intrusive_list.h"

namespace zrtmon::posix {

struct TurnTag;

using Lock = std::unique_lock<std::mutex>;

/// What a thread that may not run waits on. Lives as long as it does. Every function needs the engine's lock.
class CTurn : public CListNode<CTurn, TurnTag> {
public:
    void Give();
    /// Blocks until it was given.
    void Await(Lock& lock);

protected:
    std::condition_variable m_given;

private:
    bool m_isGiven = false;
};

/// Threads that are ready to run, of which a draw picks the next. Same seed and same calls, same picks. Every
/// function needs the engine's lock.
class CScheduler {
public:
    explicit CScheduler(uint64_t seed) : m_random(seed) {}

    bool IsEmpty() const { return m_ready.First() == nullptr; }
    void Enter(CTurn& turn) { m_ready.PushBack(turn); }
    /// Gives the turn to one of those that have entered; there is one.
    void PassOn();
    /// How often it was passed on.
    uint64_t Count() const { return m_count; }

private:
    std::mt19937_64 m_random;
    CIntrusiveList<CTurn, TurnTag> m_ready;
    uint64_t m_count = 0;
};

} // namespace zrtmon::posix
