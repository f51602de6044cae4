// The clock that tests hold, in real time: what they do with the system's own waits.
#include <stdexcept>
#include <utility>

#include "platform/thread.h"
#include "platform/virtual_clock.h"

namespace zrtmon {

namespace {
ULONGLONG g_startTick = 0;
}

VirtualClock::VirtualClock(DWORD startTick)
{
    if (startTick != 0) {
        throw std::logic_error("VirtualClock: the system's tick count cannot be chosen");
    }
    g_startTick = GetTickCount64();
}

VirtualClock::~VirtualClock() = default;

uint64_t VirtualClock::Elapsed() const { return GetTickCount64() - g_startTick; }

void VirtualClock::SetLocalTime(const SYSTEMTIME&)
{
    throw std::logic_error("VirtualClock: the system's time cannot be chosen");
}

struct VirtualClock::Thread::State {
    explicit State(std::function<void()> body) : thread(std::move(body)) {}

    CThread thread;
};

VirtualClock::Thread::Thread(std::function<void()> body) : m_state(std::make_unique<State>(std::move(body)))
{
}

VirtualClock::Thread::~Thread() = default;

VirtualClock::Thread::Thread(Thread&&) noexcept = default;

void VirtualClock::Thread::Join() { m_state.reset(); }

} // namespace zrtmon
