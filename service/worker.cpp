#include "service/worker.h"

#include <utility>

namespace zrtmon::service {

CWorker::CWorker() : m_posted(CreateEventW(nullptr, FALSE, FALSE, nullptr)), m_thread([this] { Run(); }) {}

CWorker::~CWorker() { Post(nullptr); }

void CWorker::Post(std::function<void()> task)
{
    {
        const CSectionHold hold(m_lock);
        m_tasks.push_back(std::move(task));
    }
    SetEvent(m_posted.Get());
}

void CWorker::Run()
{
    while (const std::function<void()> task = Take()) {
        task();
    }
}

/// The next task, waiting for it without a limit: a worker with nothing to do must not wake.
std::function<void()> CWorker::Take()
{
    for (;;) {
        {
            const CSectionHold hold(m_lock);
            if (!m_tasks.empty()) {
                std::function<void()> task = std::move(m_tasks.front());
                m_tasks.pop_front();
                return task;
            }
        }
        WaitForSingleObject(m_posted.Get(), INFINITE);
    }
}

} // namespace zrtmon::service
