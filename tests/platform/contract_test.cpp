// What the code above the platform layer relies on, whichever system serves it. Time here is real.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/sync.h"
#include "platform/win32.h"

namespace {

using zrtmon::CCriticalSection;
using zrtmon::CHandle;
using zrtmon::CMutexHold;
using zrtmon::CSectionHold;

// One type for all of them; the systems' headers disagree.
constexpr DWORD kSignalled = WAIT_OBJECT_0;
constexpr DWORD kAbandoned = WAIT_ABANDONED;
constexpr DWORD kTimeout = WAIT_TIMEOUT;
constexpr DWORD kFailed = WAIT_FAILED;
constexpr DWORD kMarker = 4711;

constexpr DWORD kShortMs = 30;
constexpr DWORD kLongMs = 5000;    // never reached by a sound system
constexpr DWORD kTickGrainMs = 16; // ticks may not advance for that long

CHandle MakeEvent(bool manualReset, bool set = false)
{
    return CHandle(CreateEventW(nullptr, manualReset, set, nullptr));
}

CHandle MakeMutex(bool owned = false) { return CHandle(CreateMutexW(nullptr, owned, nullptr)); }

DWORD Wait(const CHandle& handle, DWORD timeoutMs = 0)
{
    return WaitForSingleObject(handle.Get(), timeoutMs);
}

void OnOtherThread(const std::function<void()>& body) { std::thread(body).join(); }

DWORD WaitOnOtherThread(const CHandle& handle, DWORD timeoutMs = 0)
{
    DWORD outcome = kFailed;
    OnOtherThread([&] { outcome = Wait(handle, timeoutMs); });
    return outcome;
}

// ---------------------------------------------------------------------------------------------
// Events

TEST(Events, FollowTheScript)
{
    const struct {
        bool manualReset;
        bool initiallySet;
        const char* script; // S set, R reset, W a wait is let through, w a wait finds it unset
    } cases[] = {{false, false, "wSWw"}, {false, false, "SSWw"}, {false, false, "SRwRSW"},
                 {false, true, "Ww"},    {true, false, "wSWWW"}, {true, false, "SWRwSW"},
                 {true, true, "WWRw"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << (row.manualReset ? "manual " : "automatic ") << row.script);
        const CHandle event = MakeEvent(row.manualReset, row.initiallySet);
        for (const char* step = row.script; *step != '\0'; ++step) {
            if (*step == 'S' || *step == 'R') {
                EXPECT_TRUE(*step == 'S' ? SetEvent(event.Get()) : ResetEvent(event.Get())) << step;
            } else {
                EXPECT_EQ(*step == 'W' ? kSignalled : kTimeout, Wait(event)) << step;
            }
        }
    }
}

TEST(Events, ASignalWakesOneWaiterOfAnAutoResetEventAndAllOfAManualOne)
{
    for (const bool manualReset : {false, true}) {
        SCOPED_TRACE(manualReset);
        const CHandle event = MakeEvent(manualReset);
        const CHandle woken = MakeEvent(false);
        std::atomic<int> count = 0;
        std::vector<std::thread> waiters;
        for (int i = 0; i < 3; ++i) {
            waiters.emplace_back([&] {
                if (Wait(event, kLongMs) == kSignalled) {
                    ++count;
                    SetEvent(woken.Get());
                }
            });
        }
        EXPECT_EQ(kTimeout, Wait(woken, kShortMs)) << "a waiter came through an event that nobody set";
        SetEvent(event.Get());
        EXPECT_EQ(kSignalled, Wait(woken, kLongMs));
        if (!manualReset) {
            EXPECT_EQ(kTimeout, Wait(woken, kShortMs)) << "one signal let two through";
            SetEvent(event.Get());
            EXPECT_EQ(kSignalled, Wait(woken, kLongMs));
            SetEvent(event.Get());
        }
        for (std::thread& waiter : waiters) {
            waiter.join();
        }
        EXPECT_EQ(3, count);
    }
}

// ---------------------------------------------------------------------------------------------
// Mutexes

TEST(Mutexes, FollowTheScript)
{
    // t: this thread takes it, T: after its owner has ended. r: this thread releases it, R: it does not own
    // it. o: another thread finds it taken and cannot release it, e: another takes it and ends.
    for (const auto& [owned, script] :
         {std::pair{true, "ttorororReTo"}, {false, "tor"}, {false, "eTorRtr"}}) {
        const CHandle mutex = MakeMutex(owned);
        const auto release = [&] {
            SetLastError(ERROR_SUCCESS);
            return ReleaseMutex(mutex.Get()) ? ERROR_SUCCESS : GetLastError();
        };
        for (const char* step = script; *step != '\0'; ++step) {
            SCOPED_TRACE(step);
            if (*step == 't' || *step == 'T') {
                EXPECT_EQ(*step == 't' ? kSignalled : kAbandoned, Wait(mutex, kLongMs));
            } else if (*step == 'r' || *step == 'R') {
                EXPECT_EQ(*step == 'r' ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_NOT_OWNER}, release());
            } else if (*step == 'e') {
                EXPECT_EQ(kSignalled, WaitOnOtherThread(mutex));
            } else {
                EXPECT_EQ(kTimeout, WaitOnOtherThread(mutex));
                OnOtherThread([&] { EXPECT_EQ(DWORD{ERROR_NOT_OWNER}, release()); });
            }
        }
    }
}

TEST(Mutexes, TheEndOfTheOwnerWakesAWaiter)
{
    const CHandle mutex = MakeMutex();
    const CHandle taken = MakeEvent(false);
    std::thread owner([&] {
        Wait(mutex);
        Wait(mutex);
        SetEvent(taken.Get());
        Sleep(kShortMs);
    });
    EXPECT_EQ(kSignalled, Wait(taken, kLongMs));
    EXPECT_EQ(kAbandoned, Wait(mutex, kLongMs));
    owner.join();
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
    EXPECT_EQ(kSignalled, Wait(mutex)) << "abandoned a second time";
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
}

TEST(Mutexes, AHoldLetsAnAbandonedMutexGoAndThenFindsItSound)
{
    const CHandle mutex = MakeMutex();
    EXPECT_EQ(kSignalled, WaitOnOtherThread(mutex));
    EXPECT_FALSE(CMutexHold(mutex.Get(), 0).IsHeld());
    {
        const CMutexHold hold(mutex.Get(), 0);
        EXPECT_TRUE(hold.IsHeld());
        EXPECT_EQ(kTimeout, WaitOnOtherThread(mutex));
    }
    OnOtherThread([&] { EXPECT_TRUE(CMutexHold(mutex.Get(), 0).IsHeld()); });
    EXPECT_FALSE(CMutexHold(nullptr, 0).IsHeld());
}

// ---------------------------------------------------------------------------------------------
// Handles

TEST(Handles, ThatAreNotOpenOrOfAnotherKindAreRefused)
{
    const auto isRefused = [](bool hasSucceeded) {
        const DWORD error = GetLastError();
        SetLastError(kMarker);
        return !hasSucceeded && error == ERROR_INVALID_HANDLE;
    };
    const CHandle event = MakeEvent(true);
    const CHandle mutex = MakeMutex(/*owned=*/true);
    // The last to be made, since its value may be given again.
    HANDLE const closed = MakeEvent(true, true).Get();
    HANDLE const foreign = reinterpret_cast<HANDLE>(uintptr_t{0x7FFFFFF0});
    SetLastError(kMarker);
    for (HANDLE const handle : {HANDLE{}, closed, foreign}) {
        SCOPED_TRACE(handle);
        EXPECT_TRUE(isRefused(WaitForSingleObject(handle, 0) != kFailed));
        EXPECT_TRUE(isRefused(SetEvent(handle)));
        EXPECT_TRUE(isRefused(ResetEvent(handle)));
        EXPECT_TRUE(isRefused(ReleaseMutex(handle)));
        EXPECT_TRUE(isRefused(CloseHandle(handle)));
    }
    EXPECT_TRUE(isRefused(ReleaseMutex(event.Get())));
    EXPECT_TRUE(isRefused(SetEvent(mutex.Get())));
    EXPECT_TRUE(isRefused(ResetEvent(mutex.Get())));
}

TEST(Handles, OwnersCloseAndHandOver)
{
    CHandle first = MakeEvent(true, true);
    HANDLE const raw = first.Get();
    CHandle second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_EQ(kSignalled, WaitForSingleObject(raw, 0));
    second = MakeEvent(true);
    EXPECT_EQ(kTimeout, Wait(second));
    EXPECT_NE(raw, second.Get());
    EXPECT_EQ(kFailed, WaitForSingleObject(raw, 0)) << "the old handle is still open";
}

// ---------------------------------------------------------------------------------------------
// Critical sections

TEST(CriticalSections, AreFreeAfterTheLastLeaveOnly)
{
    CCriticalSection section;
    std::atomic<bool> entered = false;
    EnterCriticalSection(section.Get());
    EnterCriticalSection(section.Get());
    std::thread other([&] {
        const CSectionHold hold(section);
        entered = true;
    });
    LeaveCriticalSection(section.Get());
    Sleep(kShortMs);
    EXPECT_FALSE(entered);
    LeaveCriticalSection(section.Get());
    other.join();
    EXPECT_TRUE(entered);
}

// ---------------------------------------------------------------------------------------------
// Last error, time

TEST(LastError, IsEachThreadsOwnAndKeptBySuccess)
{
    const CHandle event = MakeEvent(true);
    const CHandle changed = MakeEvent(true);
    std::thread other([&] {
        Wait(event, kLongMs);
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
        SetLastError(ERROR_BUSY);
        SetEvent(changed.Get());
        EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    });
    SetLastError(kMarker);
    const BOOL set = SetEvent(event.Get());
    const DWORD outcome = Wait(changed, kLongMs);
    EXPECT_EQ(kMarker, GetLastError());
    EXPECT_TRUE(set);
    EXPECT_EQ(kSignalled, outcome);
    other.join();
}

TEST(Ticks, CountWhatASleepAndAWaitTake)
{
    const CHandle event = MakeEvent(false);
    const std::function<DWORD()> waits[] = {[&] { return Wait(event, 2 * kShortMs); },
                                            [] { return Sleep(2 * kShortMs), kTimeout; }};
    for (const auto& wait : waits) {
        const DWORD start = GetTickCount();
        EXPECT_EQ(kTimeout, wait());
        const DWORD taken = GetTickCount() - start;
        EXPECT_GE(taken + kTickGrainMs, 2 * kShortMs);
        EXPECT_LT(taken, kLongMs);
    }
    Sleep(0);
}

// year, month, day of the week, day, hour, minute, second, ms
TEST(FileTimes, CountFromTheirStart)
{
    const std::pair<SYSTEMTIME, uint64_t> cases[] = {
        {{1601, 1, 0, 1, 0, 0, 0, 0}, 0},
        {{1601, 1, 0, 1, 0, 0, 0, 1}, 10'000},
        {{1970, 1, 4, 1, 0, 0, 0, 0}, 116'444'736'000'000'000},
        {{1970, 1, 99, 1, 0, 0, 0, 0}, 116'444'736'000'000'000}, // the day of the week is ignored
        {{2000, 2, 2, 29, 12, 34, 56, 789}, 125'963'012'967'890'000},
        {{2024, 2, 0, 29, 23, 59, 59, 999}, 133'537'247'999'990'000},
        {{2024, 3, 0, 1, 0, 0, 0, 0}, 133'537'248'000'000'000},
        {{30827, 12, 0, 31, 23, 59, 59, 999}, 9'223'149'887'999'990'000}};
    for (const auto& [date, expected] : cases) {
        FILETIME count = {1, 1};
        EXPECT_TRUE(SystemTimeToFileTime(&date, &count)) << date.wYear;
        EXPECT_EQ(expected, uint64_t{count.dwHighDateTime} << 32 | count.dwLowDateTime);
    }
}

TEST(FileTimes, AreRefusedWhenTheyAreNoDate)
{
    const SYSTEMTIME cases[] = {
        {1600, 12, 0, 31, 0, 0, 0, 0}, {2024, 0, 0, 1, 0, 0, 0, 0},   {2024, 13, 0, 1, 0, 0, 0, 0},
        {2024, 257, 0, 1, 0, 0, 0, 0}, {2024, 1, 0, 0, 0, 0, 0, 0},   {2024, 1, 0, 257, 0, 0, 0, 0},
        {2024, 4, 0, 31, 0, 0, 0, 0},  {2024, 1, 0, 1, 24, 0, 0, 0},  {2024, 1, 0, 1, 0, 60, 0, 0},
        {2024, 1, 0, 1, 0, 0, 60, 0},  {2024, 1, 0, 1, 0, 0, 0, 1000}};
    for (const SYSTEMTIME& date : cases) {
        FILETIME count = {};
        SetLastError(kMarker);
        EXPECT_FALSE(SystemTimeToFileTime(&date, &count)) << "row " << &date - cases;
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    }
}

// ---------------------------------------------------------------------------------------------
// Text, memory, version

TEST(Text, ComparesWithoutCase)
{
    const struct {
        LPCWSTR left;
        LPCWSTR right;
        int sign;
    } cases[] = {{L"", L"", 0},        {L"Card", L"cARD", 0},     {L"Card", L"Care", -1},
                 {L"card", L"CAR", 1}, {L"A", L"b", -1},          {L"B", L"a", 1},
                 {L"", L"a", -1},      {L"Slot 1", L"SLOT 1", 0}, {nullptr, L"a", -1},
                 {L"a", nullptr, 1},   {nullptr, nullptr, 0},     {L"Slot 1", L"Slot 2", -1}};
    for (const auto& row : cases) {
        const int result = lstrcmpiW(row.left, row.right);
        EXPECT_EQ(row.sign, (result > 0) - (result < 0))
            << "row " << &row - cases << ": " << testing::PrintToString(row.left);
    }
}

TEST(Text, IsCopiedAsFarAsThereIsRoomAndTerminated)
{
    const struct {
        LPCWSTR source;
        int capacity;
        std::wstring copied;
    } cases[] = {{L"label", 10, L"label"},
                 {L"label", 6, L"label"},
                 {L"label", 5, L"labe"},
                 {L"label", 1, L""},
                 {L"", 4, L""}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.capacity);
        wchar_t buffer[12];
        std::wmemset(buffer, L'#', std::size(buffer));
        EXPECT_EQ(buffer, lstrcpynW(buffer, row.source, row.capacity));
        EXPECT_EQ(row.copied, buffer);
        EXPECT_EQ(L'#', buffer[row.copied.size() + 1]) << "written past the end";
    }
    wchar_t untouched[2] = L"#";
    EXPECT_EQ(nullptr, lstrcpynW(untouched, nullptr, 2));
    EXPECT_EQ(nullptr, lstrcpynW(nullptr, L"label", 2));
}

TEST(Memory, IsAlignedAndZeroedOnRequest)
{
    for (const SIZE_T size : {SIZE_T{1}, SIZE_T{24}, SIZE_T{1000}, SIZE_T{70000}}) {
        SCOPED_TRACE(size);
        HGLOBAL const dirty = GlobalAlloc(GMEM_FIXED, size);
        ASSERT_TRUE(dirty);
        std::memset(dirty, 0xFF, size); // what the next block of that size may be made of
        EXPECT_EQ(nullptr, GlobalFree(dirty));
        auto* const block = static_cast<uint8_t*>(GlobalAlloc(GPTR, size));
        ASSERT_TRUE(block);
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t));
        EXPECT_EQ(std::vector<uint8_t>(size, 0), std::vector<uint8_t>(block, block + size));
        EXPECT_EQ(nullptr, GlobalFree(block));
    }
    EXPECT_EQ(nullptr, GlobalFree(nullptr));
}

} // namespace
