/// The one place of the process where threads of this layer block and are woken.
///
/// One lock guards all of it: the engine, the objects that are waited for, the handle table and the
/// virtual clock. A waker hands the object over and marks the waiter awake under that lock; the
/// woken thread has nothing left to compete for.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

#include "platform/posix/intrusive_list.h"
#include "platform/posix/seeded_scheduler.h"
#include "platform/posix/virtual_time.h"
#include "platform/win32.h"

namespace zrtmon::posix {

class CMutexObject;

struct OwnedTag;
struct QueueTag;

using WaitQueue = CIntrusiveList<CWaiter, QueueTag>;

/// What the engine keeps for each thread. Usable until the thread's storage is destroyed, so also in the
/// destructors that run when it ends.
struct ThreadState {
    uint64_t number = 0;        ///< from 1, never given again
    uint64_t participantOf = 0; ///< generation of the virtual clock that counts this thread, 0 for none
    CIntrusiveList<CMutexObject, OwnedTag> owned;
};

/// The calling thread's.
ThreadState& ThisThread();

enum class WakeReason { None, Granted, Abandoned, TimedOut };

/// A thread that blocks, for as long as it does. Lives on that thread's stack.
class CWaiter : public CTurn, public CListNode<CWaiter, QueueTag>, public CListNode<CWaiter, ClockTag> {
public:
    /// kind names what is waited for, for the deadlock message; key distinguishes what shares a queue.
    CWaiter(ThreadState& waitingThread, const char* waitKind, const void* waitKey = nullptr)
        : thread(waitingThread), kind(waitKind), key(waitKey)
    {
    }

    /// Takes the waiter out of all lists and lets its thread run on.
    void Wake(WakeReason why);
    bool IsAwake() const { return reason != WakeReason::None; }
    /// Blocks until it is woken; the time runs out on the system's clock.
    void AwaitOnSystemClock(Lock& lock, DWORD timeoutMs);

    ThreadState& thread;
    const char* const kind;
    const void* const key;
    WakeReason reason = WakeReason::None;
    CVirtualTime* clock = nullptr;     ///< the virtual clock that it waits on, null for the system's
    bool counted = false;              ///< whether that clock counts the thread
    uint64_t deadlineMs = kNoDeadline; ///< on that clock
};

class CWaitEngine {
public:
    /// Exists from the first use to the end of the process, static destructors included.
    static CWaitEngine& Get();

    /// Where threads run one at a time, others may run before this one has the lock.
    [[nodiscard]] Lock Acquire();

    /// Blocks the calling thread until somebody wakes the waiter or the time is up, and says which. The
    /// caller has put the waiter into the queue that it wants to be woken from, and takes the lock along.
    WakeReason Block(Lock& lock, CWaiter& waiter, DWORD timeoutMs);

    /// Whether a virtual clock is installed; without the lock only a hint that saves taking it.
    bool IsVirtual() const { return m_isVirtual.load(std::memory_order_acquire); }

    // Under the lock:

    /// The installed virtual clock, or null.
    CVirtualTime* Virtual() { return m_virtual ? &*m_virtual : nullptr; }
    void InstallVirtual(DWORD startTick);
    void RemoveVirtual();

private:
    std::mutex m_mutex;
    std::optional<CVirtualTime> m_virtual;
    std::atomic<bool> m_isVirtual = false;
    uint64_t m_generation = 0; ///< counts virtual clocks
};

} // namespace zrtmon::posix
