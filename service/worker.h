/// A thread that carries out one task after the other.
#pragma once

#include <deque>
#include <functional>

#include "platform/sync.h"
#include "platform/thread.h"

namespace zrtmon::service {

class CWorker {
public:
    CWorker();
    /// Returns when every task that was posted has run.
    ~CWorker();
    CWorker(const CWorker&) = delete;
    CWorker& operator=(const CWorker&) = delete;

    /// Runs the task after those posted before. It must not throw. Any thread.
    void Post(std::function<void()> task);

private:
    void Run();
    std::function<void()> Take();

    CHandle m_posted; ///< event, set with each task and with the end
    CCriticalSection m_lock;
    std::deque<std::function<void()>> m_tasks; ///< guarded by m_lock; a null one ends the thread
    CThread m_thread;                          ///< last: it uses the others
};

} // namespace zrtmon::service
