// Threads that do random things to a few objects, on the virtual clock. What must hold whatever happens: one
// owner at a time, no signal lost or doubled, and nobody waits for ever.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/sync.h"
#include "platform/virtual_clock.h"

namespace {

using namespace zrtmon;

constexpr unsigned kMutexes = 3;
constexpr unsigned kThreads = 6;
constexpr unsigned kSteps = 150;
constexpr unsigned kGenerations = 4; // of threads: an ending thread abandons what it owns

struct Guarded {
    CHandle mutex{CreateMutexW(nullptr, FALSE, nullptr)};
    unsigned inside = 0; // guarded by the mutex alone
};

struct Arena {
    Guarded guarded[kMutexes];
    CHandle tokens{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    CCriticalSection section;
    unsigned inSection = 0;
    std::atomic<unsigned> timeouts = 0;
    std::atomic<unsigned> abandoned = 0;
    std::atomic<unsigned> tokensTaken = 0;
    std::atomic<unsigned> tokensSet = 0;
};

bool Gets(Arena& arena, const CHandle& handle, DWORD limitMs)
{
    const DWORD outcome = WaitForSingleObject(handle.Get(), limitMs);
    EXPECT_NE(WAIT_FAILED, outcome);
    arena.timeouts += outcome == WAIT_TIMEOUT;
    arena.abandoned += outcome == WAIT_ABANDONED;
    return outcome != WAIT_TIMEOUT;
}

/// Of several threads only one at a time.
void Stay(unsigned& inside, DWORD forMs)
{
    EXPECT_EQ(0u, inside++);
    Sleep(forMs);
    --inside;
}

void Act(Arena& arena, std::mt19937 random)
{
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    for (unsigned step = 0; step < kSteps; ++step) {
        const DWORD ms = below(6);
        Guarded& guarded = arena.guarded[below(kMutexes)];
        const uint32_t act = below(5);
        if (act == 0) {
            Sleep(ms);
        } else if (act == 1) {
            ++arena.tokensSet;
            SetEvent(arena.tokens.Get());
        } else if (act == 2) {
            arena.tokensTaken += Gets(arena, arena.tokens, ms);
        } else if (act == 3) {
            const CSectionHold hold(arena.section);
            Stay(arena.inSection, ms / 2);
        } else if (Gets(arena, guarded.mutex, ms)) {
            Stay(guarded.inside, ms / 2);
            EXPECT_TRUE(ReleaseMutex(guarded.mutex.Get()));
        }
    }
    if (below(2) == 0) {
        Gets(arena, arena.guarded[below(kMutexes)].mutex, 5); // and never releases it
    }
}

TEST(WaitStress, NobodyGetsWhatAnotherOwns)
{
    const char* const given = std::getenv("ZRT_SEED");
    const auto seed = given ? static_cast<uint32_t>(std::strtoul(given, nullptr, 0)) : std::random_device()();
    std::cout << "ZRT_SEED=" << seed << '\n';
    const uint64_t handles = OpenHandleCount();
    {
        VirtualClock clock;
        Arena arena;
        std::mt19937 random(seed);
        for (unsigned generation = 0; generation < kGenerations; ++generation) {
            std::vector<VirtualClock::Thread> threads;
            for (unsigned i = 0; i < kThreads; ++i) {
                threads.emplace_back([&arena, own = std::mt19937(random())] { Act(arena, own); });
            }
        }
        EXPECT_LE(arena.tokensTaken, arena.tokensSet);
        EXPECT_GT(arena.tokensTaken, 0u);
        EXPECT_GT(arena.timeouts, 0u);
        EXPECT_GT(arena.abandoned, 0u);
        EXPECT_GT(clock.Elapsed(), uint64_t{kSteps});
    }
    EXPECT_EQ(handles, OpenHandleCount());
}

} // namespace
