#include "platform/thread.h"

#include <thread>

namespace zrtmon {

struct CThread::State {
    std::thread thread;
};

CThread::CThread(std::function<void()> body)
    : m_state(std::make_unique<State>(State{std::thread(std::move(body))}))
{
}

CThread::~CThread() { m_state->thread.join(); }

} // namespace zrtmon
