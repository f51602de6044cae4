// The clock that tests hold, in real time: what they do with the system's own waits.
#include <stdexcept>
#include <utility>

#include "platform/thread.h"
#include "platform/virtual_clock.h"

namespace zrtmon {

namespace {
ULONGLONG g_startTick = 0;
}

CVirtualClock::CVirtualClock(DWORD startTick)
{
    if (startTick != 0) {
        throw std::logic_error("CVirtualClock: the system's tick count cannot be chosen");
    }
    g_startTick = GetTickCount64();
}

CVirtualClock::~CVirtualClock() = default;

uint64_t CVirtualClock::Elapsed() const { return GetTickCount64() - g_startTick; }

void CVirtualClock::SetLocalTime(const SYSTEMTIME&)
{
    throw std::logic_error("CVirtualClock: the system's time cannot be chosen");
}

struct CVirtualClock::CClockThread::State {
    explicit State(std::function<void()> body) : thread(std::move(body)) {}

    CThread thread;
};

CVirtualClock::CClockThread::CClockThread(std::function<void()> body)
    : m_state(std::make_unique<State>(std::move(body)))
{
}

CVirtualClock::CClockThread::~CClockThread() = default;

CVirtualClock::CClockThread::CClockThread(CClockThread&&) noexcept = default;

void CVirtualClock::CClockThread::Join() { m_state.reset(); }

} // namespace zrtmon
