#include "platform/thread.h"

#include <process.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/sync.h"

namespace zrtmon {

struct CThread::State {
    std::function<void()> body;
    CHandle thread;

    static unsigned WINAPI Run(void* state)
    {
        static_cast<State*>(state)->body();
        return 0;
    }
};

CThread::CThread(std::function<void()> body) : m_state(std::make_unique<State>(State{std::move(body), {}}))
{
    // Through the C runtime, which keeps data for each of its threads.
    const uintptr_t thread = _beginthreadex(nullptr, 0, State::Run, m_state.get(), 0, nullptr);
    if (thread == 0) {
        throw std::system_error(errno, std::generic_category());
    }
    m_state->thread = CHandle(reinterpret_cast<HANDLE>(thread));
}

CThread::~CThread() { WaitForSingleObject(m_state->thread.Get(), INFINITE); }

} // namespace zrtmon
