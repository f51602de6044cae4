// Promises of the layer beyond those that every system gives.
#include <cstdlib>
#include <ctime>
#include <thread>

#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/sync.h"

namespace {

using namespace zrtmon;

TEST(PosixApi, AHandleValueIsNeverGivenTwice)
{
    CHandle first(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    HANDLE const stale = first.Get();
    first.Reset();
    for (int i = 0; i < 100; ++i) {
        const CHandle next(CreateEventW(nullptr, TRUE, TRUE, nullptr));
        ASSERT_EQ(WAIT_FAILED, WaitForSingleObject(stale, 0));
        ASSERT_GT(next.Get(), stale);
    }
}

TEST(PosixApi, RefusesDaysThatTheirYearLacks)
{
    // year, month, day of the week, day
    const std::pair<SYSTEMTIME, BOOL> cases[] = {
        {{2024, 2, 0, 29, 0, 0, 0, 0}, TRUE},  {{2023, 2, 0, 29, 0, 0, 0, 0}, FALSE},
        {{1900, 2, 0, 29, 0, 0, 0, 0}, FALSE}, {{2000, 2, 0, 29, 0, 0, 0, 0}, TRUE},
        {{30828, 1, 0, 1, 0, 0, 0, 0}, FALSE}, {{65535, 1, 0, 1, 0, 0, 0, 0}, FALSE}};
    FILETIME count = {};
    for (const auto& [date, isThere] : cases) {
        EXPECT_EQ(isThere, SystemTimeToFileTime(&date, &count)) << date.wYear;
    }
    EXPECT_FALSE(SystemTimeToFileTime(&cases[0].first, nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
}

/// Sets the process's time zone for as long as it lives.
class CTimeZone {
public:
    explicit CTimeZone(const char* name)
    {
        setenv("TZ", name, 1);
        tzset();
    }
    ~CTimeZone()
    {
        unsetenv("TZ");
        tzset();
    }
    CTimeZone(const CTimeZone&) = delete;
    CTimeZone& operator=(const CTimeZone&) = delete;
};

/// Hours from an instant's UTC to the local time that the layer gives.
double LocalHoursAheadOfUtc(const char* zone)
{
    const CTimeZone set(zone);
    SYSTEMTIME local = {};
    FILETIME count = {};
    GetLocalTime(&local);
    EXPECT_TRUE(SystemTimeToFileTime(&local, &count));
    constexpr double kUnitsPerSecond = 1e7;
    constexpr double kUnixStart = 11'644'473'600; // seconds after 1601
    const double seconds =
        (count.dwHighDateTime * 4294967296.0 + count.dwLowDateTime) / kUnitsPerSecond - kUnixStart;
    return (seconds - static_cast<double>(std::time(nullptr))) / 3600;
}

TEST(PosixApi, LocalTimeFollowsTheSignOfTheTimeZone)
{
    constexpr double kTestTakes = 0.01; // hours
    EXPECT_NEAR(14, LocalHoursAheadOfUtc("<+14>-14"), kTestTakes);
    EXPECT_NEAR(-9.5, LocalHoursAheadOfUtc("<-0930>9:30"), kTestTakes);
}

TEST(PosixApi, LeavingASectionThatAnotherOwnsDoesNothing)
{
    CCriticalSection section;
    const CSectionHold hold(section);
    std::thread([&section] { LeaveCriticalSection(section.Get()); }).join();
    EXPECT_EQ(1u, section.Get()->depth);
}

} // namespace
