#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/sync.h"
#include "platform/virtual_clock.h"

namespace {

using namespace zrtmon;

constexpr DWORD kLongMs = 1'000'000;
constexpr DWORD kDayMs = 86'400'000;

CHandle MakeEvent(bool manualReset) { return CHandle(CreateEventW(nullptr, manualReset, FALSE, nullptr)); }

CHandle MakeMutex(bool owned) { return CHandle(CreateMutexW(nullptr, owned, nullptr)); }

DWORD Wait(const CHandle& handle, DWORD timeoutMs) { return WaitForSingleObject(handle.Get(), timeoutMs); }

TEST(VirtualClock, JumpsExactlyToTheEndOfEachWait)
{
    CVirtualClock clock(5);
    const CHandle event = MakeEvent(false);
    uint64_t expected = 0;
    for (const DWORD ms : {0u, 1u, 17u, 5000u, 49 * kDayMs, INFINITE - 1}) {
        SCOPED_TRACE(ms);
        Sleep(ms);
        EXPECT_EQ(WAIT_TIMEOUT, Wait(event, ms));
        expected += 2 * uint64_t{ms};
        EXPECT_EQ(expected, clock.Elapsed());
        EXPECT_EQ(static_cast<DWORD>(expected + 5), GetTickCount());
    }
}

// ---------------------------------------------------------------------------------------------
// Which thread is woken, and when: the same for everything that can be waited for

struct Gate {
    std::function<DWORD(DWORD)> enter; // within that many milliseconds
    std::function<void()> leave;
};
using MakeGate = Gate (*)(); // closed: entered by the calling thread

Gate MakeMutexGate()
{
    const auto mutex = std::make_shared<CHandle>(MakeMutex(/*owned=*/true));
    return {[mutex](DWORD ms) { return Wait(*mutex, ms); }, [mutex] { ReleaseMutex(mutex->Get()); }};
}

Gate MakeEventGate()
{
    const auto event = std::make_shared<CHandle>(MakeEvent(false));
    return {[event](DWORD ms) { return Wait(*event, ms); }, [event] { SetEvent(event->Get()); }};
}

Gate MakeSectionGate()
{
    const auto section = std::make_shared<CCriticalSection>();
    EnterCriticalSection(section->Get());
    return {[section](DWORD) {
                EnterCriticalSection(section->Get());
                return WAIT_OBJECT_0;
            },
            [section] { LeaveCriticalSection(section->Get()); }};
}

TEST(VirtualClock, LetsThreadsInOneByOneInTheOrderOfTheirComing)
{
    for (const MakeGate make : {MakeMutexGate, MakeEventGate, MakeSectionGate}) {
        CVirtualClock clock;
        Gate gate = make();
        std::vector<std::pair<unsigned, uint64_t>> entered; // guarded by the gate
        std::vector<CVirtualClock::CClockThread> threads;
        for (const unsigned comes : {4u, 1u, 3u, 2u}) {
            threads.emplace_back([&, comes] {
                Sleep(comes);
                EXPECT_EQ(WAIT_OBJECT_0, gate.enter(kLongMs));
                entered.emplace_back(comes, clock.Elapsed());
                Sleep(100);
                gate.leave();
            });
        }
        Sleep(10);
        EXPECT_TRUE(entered.empty());
        gate.leave();
        threads.clear();
        EXPECT_EQ((decltype(entered){{1, 10}, {2, 110}, {3, 210}, {4, 310}}), entered);
        EXPECT_EQ(410u, clock.Elapsed());
    }
}

TEST(VirtualClock, ASignalAtTheVeryDeadlineNeverLosesTheEvent)
{
    for (int round = 0; round < 200; ++round) {
        CVirtualClock clock;
        const CHandle event = MakeEvent(false);
        DWORD outcome = WAIT_FAILED;
        CVirtualClock::CClockThread waiter([&] { outcome = Wait(event, 10); });
        CVirtualClock::CClockThread setter([&] {
            Sleep(10);
            SetEvent(event.Get());
        });
        waiter.Join();
        setter.Join();
        EXPECT_EQ(10u, clock.Elapsed());
        EXPECT_EQ(outcome == WAIT_OBJECT_0 ? WAIT_TIMEOUT : WAIT_OBJECT_0, Wait(event, 0));
    }
}

TEST(VirtualClock, AbandonsAtTheMomentAThreadEnds)
{
    CVirtualClock clock;
    const CHandle waitedFor = MakeMutex(false);
    const CHandle later = MakeMutex(false);
    CVirtualClock::CClockThread owner([&] {
        for (const CHandle* mutex : {&waitedFor, &waitedFor, &later}) {
            Wait(*mutex, 0);
        }
        Sleep(25);
    });
    Sleep(1);
    CVirtualClock::CClockThread heir([&] { EXPECT_EQ(WAIT_ABANDONED, Wait(waitedFor, kLongMs)); });
    Sleep(1);
    EXPECT_EQ(WAIT_ABANDONED, Wait(waitedFor, kLongMs)) << "the heir has ended, too";
    EXPECT_EQ(25u, clock.Elapsed());
    EXPECT_TRUE(ReleaseMutex(waitedFor.Get()));
    EXPECT_EQ(WAIT_ABANDONED, Wait(later, 0));
}

TEST(VirtualClock, AWaitOutlivesItsHandle)
{
    CVirtualClock clock;
    CHandle handles[] = {MakeEvent(false), MakeMutex(/*owned=*/true)};
    std::vector<CVirtualClock::CClockThread> threads;
    for (const CHandle& handle : handles) {
        threads.emplace_back([&clock, raw = handle.Get()] {
            EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(raw, 30));
            EXPECT_EQ(30u, clock.Elapsed());
            EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(raw, 30));
        });
    }
    Sleep(10);
    for (CHandle& handle : handles) {
        handle.Reset();
    }
    threads.clear();
    EXPECT_EQ(30u, clock.Elapsed());
}

// ---------------------------------------------------------------------------------------------
// Threads

TEST(VirtualClock, ServesThreadsThatItDoesNotCount)
{
    const CHandle event = MakeEvent(false);
    const CHandle answer = MakeEvent(false);
    std::atomic<DWORD> signalled = WAIT_FAILED;
    std::atomic<DWORD> timedOut = WAIT_FAILED;
    std::thread other;
    {
        CVirtualClock clock;
        other = std::thread([&] {
            signalled = Wait(event, INFINITE);
            SetEvent(answer.Get());
            timedOut = Wait(event, kLongMs);
        });
        SetEvent(event.Get());
        while (Wait(answer, 0) != WAIT_OBJECT_0) { // polling: this thread runs, so time does not move
            Sleep(0);
        }
        EXPECT_EQ(0u, clock.Elapsed());
    }
    other.join();
    EXPECT_EQ(WAIT_OBJECT_0, signalled);
    EXPECT_EQ(WAIT_TIMEOUT, timedOut) << "a wait with a limit does not outlast the clock";
}

// ---------------------------------------------------------------------------------------------
// One at a time, by a seed

/// Which thread did something, in order: four threads that sleep, lock, signal and wait.
std::vector<unsigned> OrderOfActs(uint64_t seed)
{
    CVirtualClock clock(0, seed);
    CCriticalSection section;
    const CHandle mutex = MakeMutex(false);
    const CHandle event = MakeEvent(false);
    std::vector<unsigned> acts; // not guarded: no two threads run at once
    std::vector<CVirtualClock::CClockThread> threads;
    for (unsigned number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (unsigned round = 0; round < 20; ++round) {
                acts.push_back(number);
                Sleep(round % 3);
                const CSectionHold hold(section);
                Wait(mutex, INFINITE);
                acts.push_back(number);
                SetEvent(event.Get());
                ReleaseMutex(mutex.Get());
                acts.push_back(number + 10 * (Wait(event, round % 4) == WAIT_OBJECT_0));
            }
        });
    }
    threads.clear();
    EXPECT_GT(clock.Draws(), acts.size());
    acts.push_back(static_cast<unsigned>(clock.Elapsed()));
    return acts;
}

TEST(VirtualClock, ASeedDecidesTheOrderOfEverything)
{
    std::set<std::vector<unsigned>> orders;
    for (uint64_t seed = 0; seed < 20; ++seed) {
        const std::vector<unsigned> acts = OrderOfActs(seed);
        EXPECT_EQ(acts, OrderOfActs(seed)) << seed;
        orders.insert(acts);
    }
    EXPECT_EQ(20u, orders.size()) << "a seed that decides nothing";
}

// ---------------------------------------------------------------------------------------------
// Ends of the process

TEST(VirtualClockDeathTest, SaysWhyTheProcessEnds)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto deadlock = [] {
        CVirtualClock clock;
        const CHandle mutex = MakeMutex(/*owned=*/true);
        CVirtualClock::CClockThread thread([&] {
            Sleep(20);
            Wait(mutex, INFINITE);
        });
        Wait(MakeEvent(false), INFINITE);
    };
    EXPECT_DEATH(deadlock(), "deadlock at 20 ms.* for an event; thread [0-9]+ for a mutex;");
    const auto outlive = [] {
        auto clock = std::make_unique<CVirtualClock>();
        CVirtualClock::CClockThread thread([] { Sleep(1); });
        clock.reset();
    };
    EXPECT_DEATH(outlive(), "destroyed while threads of it live");
}

} // namespace
