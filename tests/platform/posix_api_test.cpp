// Promises of the layer beyond those that every system gives.
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

TEST(PosixApi, CountsHandlesAndBlocks)
{
    const uint64_t handles = OpenHandleCount();
    const uint64_t blocks = GlobalBlockCount();
    {
        const CHandle event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
        const CHandle mutex(CreateMutexW(nullptr, TRUE, nullptr));
        EXPECT_EQ(handles + 2, OpenHandleCount());
    }
    EXPECT_EQ(handles, OpenHandleCount());
    HGLOBAL const empty = GlobalAlloc(GPTR, 0);
    EXPECT_NE(nullptr, empty);
    EXPECT_EQ(blocks + 1, GlobalBlockCount());
    GlobalFree(empty);
    GlobalFree(nullptr);
    EXPECT_EQ(blocks, GlobalBlockCount());
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

TEST(PosixApi, CopiesNoTextIntoNoRoom)
{
    wchar_t untouched[] = L"#";
    EXPECT_EQ(nullptr, lstrcpynW(untouched, L"label", 0));
    EXPECT_EQ(nullptr, lstrcpynW(untouched, L"label", -1));
    EXPECT_STREQ(L"#", untouched);
}

TEST(PosixApi, LeavingASectionThatAnotherOwnsDoesNothing)
{
    CCriticalSection section;
    const CSectionHold hold(section);
    std::thread([&section] { LeaveCriticalSection(section.Get()); }).join();
    EXPECT_EQ(1u, section.Get()->depth);
}

} // namespace
