#include <chrono>
#include <ctime>
#include <thread>

#include "platform/posix/calendar.h"
#include "platform/posix/wait_engine.h"

using namespace zrtmon::posix;

namespace {

constexpr CalendarTime kFileTimeStart = std::chrono::local_days(std::chrono::year(1601) / 1 / 1);
constexpr uint64_t kFileTimeUnitsPerMs = 10'000;

/// The system's local time; its calendar fields without their zone.
CalendarTime SystemLocalNow()
{
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const std::time_t wholeSeconds = system_clock::to_time_t(floor<seconds>(now));
    std::tm fields = {};
    localtime_r(&wholeSeconds, &fields);
    return local_time<milliseconds>(now.time_since_epoch() + seconds(fields.tm_gmtoff));
}

} // namespace

DWORD WINAPI GetTickCount() noexcept
{
    CWaitEngine& engine = CWaitEngine::Get();
    if (engine.IsVirtual()) {
        const Lock lock = engine.Acquire();
        if (const CVirtualTime* const clock = engine.Virtual()) {
            return clock->Tick();
        }
    }
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DWORD>(std::chrono::floor<std::chrono::milliseconds>(sinceStart).count());
}

void WINAPI Sleep(DWORD milliseconds) noexcept
{
    CWaitEngine& engine = CWaitEngine::Get();
    Lock lock = engine.Acquire();
    if (milliseconds == 0) {
        lock.unlock();
        std::this_thread::yield();
        return;
    }
    CWaiter waiter(ThisThread(), "nothing, asleep");
    engine.Block(lock, waiter, milliseconds);
}

void WINAPI GetLocalTime(SYSTEMTIME* time) noexcept
{
    CWaitEngine& engine = CWaitEngine::Get();
    const Lock lock = engine.Acquire();
    const CVirtualTime* const clock = engine.Virtual();
    *time = ToFields(clock ? clock->LocalNow() : SystemLocalNow());
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* fileTime) noexcept
{
    const std::optional<CalendarTime> calendar =
        time && fileTime ? ToCalendarTime(*time) : std::optional<CalendarTime>();
    if (!calendar) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto sinceStart = static_cast<uint64_t>((*calendar - kFileTimeStart).count());
    const uint64_t units = sinceStart * kFileTimeUnitsPerMs;
    fileTime->dwLowDateTime = static_cast<DWORD>(units);
    fileTime->dwHighDateTime = static_cast<DWORD>(units >> 32);
    return TRUE;
}
