#include "platform/virtual_clock.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/posix/wait_engine.h"
#include "platform/posix/waitable.h"

namespace zrtmon {

using namespace posix;

namespace {

[[noreturn]] void ReportMisuse(const char* what)
{
    std::fprintf(stderr, "virtual clock: %s\n", what);
    std::abort();
}

CVirtualTime& Installed()
{
    CVirtualTime* const clock = CWaitEngine::Get().Virtual();
    if (!clock) {
        ReportMisuse("none is installed");
    }
    return *clock;
}

} // namespace

CVirtualClock::CVirtualClock(DWORD startTick)
{
    CWaitEngine& engine = CWaitEngine::Get();
    const Lock lock = engine.Acquire();
    if (engine.Virtual()) {
        ReportMisuse("there is one already");
    }
    engine.InstallVirtual(startTick);
    Installed().AddFirstParticipant();
    ThisThread().participantOf = Installed().Generation();
}

CVirtualClock::CVirtualClock(DWORD startTick, uint64_t scheduleSeed) : CVirtualClock(startTick)
{
    const Lock lock = CWaitEngine::Get().Acquire();
    Installed().RunSerially(scheduleSeed);
}

CVirtualClock::~CVirtualClock()
{
    CWaitEngine& engine = CWaitEngine::Get();
    const Lock lock = engine.Acquire();
    if (Installed().Participants() != 1) {
        ReportMisuse("destroyed while threads of it live");
    }
    engine.RemoveVirtual();
    ThisThread().participantOf = 0;
}

uint64_t CVirtualClock::Elapsed() const
{
    const Lock lock = CWaitEngine::Get().Acquire();
    return Installed().ElapsedMs();
}

uint64_t CVirtualClock::Draws() const
{
    const Lock lock = CWaitEngine::Get().Acquire();
    return Installed().Draws();
}

void CVirtualClock::SetLocalTime(const SYSTEMTIME& now)
{
    const std::optional<CalendarTime> time = ToCalendarTime(now);
    if (!time) {
        throw std::invalid_argument("CVirtualClock::SetLocalTime: no date");
    }
    const Lock lock = CWaitEngine::Get().Acquire();
    Installed().SetLocalNow(*time);
}

/// Outlives its thread, since joining is what ends it.
struct CVirtualClock::CClockThread::State {
    explicit State(std::function<void()> threadBody) : body(std::move(threadBody)) {}

    void Run();

    const std::function<void()> body;
    CTurn start;
    CEventObject ended{/*manualReset=*/true, /*initiallySet=*/false};
    std::thread thread;
};

void CVirtualClock::CClockThread::State::Run()
{
    {
        Lock lock = CWaitEngine::Get().Acquire();
        start.Await(lock);
        ThisThread().participantOf = Installed().Generation();
    }
    body();
    // In one step, so that time does not move between the thread's last act and the moment others see its
    // end.
    const Lock lock = CWaitEngine::Get().Acquire();
    CMutexObject::AbandonAll(ThisThread());
    ended.Set();
    ThisThread().participantOf = 0;
    Installed().RemoveParticipant();
    Installed().PassTurn();
}

CVirtualClock::CClockThread::CClockThread(std::function<void()> body)
    : m_state(std::make_unique<State>(std::move(body)))
{
    m_state->thread = std::thread(&State::Run, m_state.get()); // which waits for its start
    const Lock lock = CWaitEngine::Get().Acquire();
    Installed().AddParticipant(m_state->start);
}

CVirtualClock::CClockThread::~CClockThread() { Join(); }

CVirtualClock::CClockThread::CClockThread(CClockThread&&) noexcept = default;

void CVirtualClock::CClockThread::Join()
{
    if (!m_state || !m_state->thread.joinable()) {
        return;
    }
    {
        Lock lock = CWaitEngine::Get().Acquire();
        m_state->ended.Take(lock, ThisThread(), INFINITE);
    }
    // Only the last instructions of the thread are left, which wait for nobody.
    m_state->thread.join();
}

} // namespace zrtmon
