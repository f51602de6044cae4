/// The service's main thread: what the bus, the signals and the other threads bring is handled there, one
/// after the other, so that the state behind the bus's objects needs no locks.
#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "platform/sync.h"
#include "platform/win32.h"
#include "service/descriptor.h"

namespace zrtmon::service {

/// A connection that the loop watches.
class ILoopSource {
public:
    virtual ~ILoopSource() = default;
    struct CWait {
        int descriptor;
        short events;  ///< of poll(2)
        int timeoutMs; ///< -1: no limit
    };
    /// What to wait for; called each time before the loop waits.
    virtual CWait Wait() = 0;
    /// Handles all that is there. Called after each wait.
    virtual void Process() = 0;
};

class CMainLoop {
public:
    /// Throws std::system_error.
    CMainLoop();
    CMainLoop(const CMainLoop&) = delete;
    CMainLoop& operator=(const CMainLoop&) = delete;

    /// Runs the task on the main thread, after those posted before. Any thread.
    void Post(std::function<void()> task);
    /// Runs the task on the main thread after that time. Main thread.
    void After(DWORD delayMs, std::function<void()> task);

    /// The sources are borrowed. Returns after Stop.
    void Run(const std::vector<ILoopSource*>& sources);
    /// Main thread.
    void Stop() { m_isStopped = true; }

private:
    struct CTimer {
        DWORD startTick;
        DWORD delayMs;
        std::function<void()> task;
    };

    void RunPosted();
    void RunTimers();
    int TimeoutMs() const;
    void Wait(const std::vector<ILoopSource*>& sources);

    CDescriptor m_wake; ///< eventfd, readable when a task was posted
    CCriticalSection m_lock;
    std::deque<std::function<void()>> m_posted; ///< guarded by m_lock
    std::vector<CTimer> m_timers;
    bool m_isStopped = false;
};

} // namespace zrtmon::service
