#include "service/main_loop.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace zrtmon::service {

CMainLoop::CMainLoop() : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_wake) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void CMainLoop::Post(std::function<void()> task)
{
    {
        const CSectionHold hold(m_lock);
        m_posted.push_back(std::move(task));
    }
    const uint64_t one = 1;
    // Fails only when the counter is full, and the loop wakes then as well.
    [[maybe_unused]] const ssize_t ignored = write(m_wake.Get(), &one, sizeof one);
}

void CMainLoop::After(DWORD delayMs, std::function<void()> task)
{
    m_timers.push_back({GetTickCount(), delayMs, std::move(task)});
}

void CMainLoop::Run(const std::vector<ILoopSource*>& sources)
{
    while (!m_isStopped) {
        Wait(sources);
        for (ILoopSource* const source : sources) {
            source->Process();
        }
        RunPosted();
        RunTimers();
    }
}

void CMainLoop::Wait(const std::vector<ILoopSource*>& sources)
{
    std::vector<pollfd> waits = {{m_wake.Get(), POLLIN, 0}};
    int timeoutMs = TimeoutMs();
    for (ILoopSource* const source : sources) {
        const ILoopSource::CWait wait = source->Wait();
        waits.push_back({wait.descriptor, wait.events, 0});
        if (wait.timeoutMs >= 0 && (timeoutMs < 0 || wait.timeoutMs < timeoutMs)) {
            timeoutMs = wait.timeoutMs;
        }
    }
    poll(waits.data(), waits.size(), timeoutMs);
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = read(m_wake.Get(), &count, sizeof count);
}

void CMainLoop::RunPosted()
{
    std::deque<std::function<void()>> tasks;
    {
        const CSectionHold hold(m_lock);
        tasks.swap(m_posted);
    }
    for (const std::function<void()>& task : tasks) {
        task();
    }
}

void CMainLoop::RunTimers()
{
    const DWORD now = GetTickCount();
    const auto firstDue = std::stable_partition(m_timers.begin(), m_timers.end(), [now](const CTimer& timer) {
        return now - timer.startTick < timer.delayMs;
    });
    std::vector<CTimer> due(std::make_move_iterator(firstDue), std::make_move_iterator(m_timers.end()));
    m_timers.erase(firstDue, m_timers.end());
    for (const CTimer& timer : due) {
        timer.task();
    }
}

int CMainLoop::TimeoutMs() const
{
    const DWORD now = GetTickCount();
    int timeoutMs = -1;
    for (const CTimer& timer : m_timers) {
        const DWORD passed = now - timer.startTick;
        const int left = passed >= timer.delayMs ? 0 : static_cast<int>(timer.delayMs - passed);
        timeoutMs = timeoutMs < 0 ? left : std::min(timeoutMs, left);
    }
    return timeoutMs;
}

} // namespace zrtmon::service
