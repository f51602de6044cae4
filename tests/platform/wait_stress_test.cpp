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

uint32_t Seed()
{
    const char* const text = std::getenv("ZRT_SEED");
    return text ? static_cast<uint32_t>(std::strtoul(text, nullptr, 0)) : std::random_device()();
}

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

class CActor {
public:
    CActor(Arena& arena, uint32_t seed) : m_arena(arena), m_random(seed) {}

    void Run()
    {
        for (unsigned step = 0; step < kSteps; ++step) {
            Step();
        }
        if (Below(2) == 0) {
            Own(m_arena.guarded[Below(kMutexes)]); // and is never released
        }
    }

private:
    unsigned Below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_random); }

    void Step()
    {
        switch (Below(5)) {
        case 0:
            Sleep(Below(4));
            break;
        case 1:
            ++m_arena.tokensSet;
            SetEvent(m_arena.tokens.Get());
            break;
        case 2:
            Count(WaitForSingleObject(m_arena.tokens.Get(), Below(5)), m_arena.tokensTaken);
            break;
        case 3:
            VisitSection();
            break;
        default:
            VisitMutex(m_arena.guarded[Below(kMutexes)]);
        }
    }

    void Count(DWORD outcome, std::atomic<unsigned>& granted)
    {
        ASSERT_NE(WAIT_FAILED, outcome);
        ++(outcome == WAIT_TIMEOUT ? m_arena.timeouts : granted);
    }

    void VisitSection()
    {
        const CSectionHold hold(m_arena.section);
        ASSERT_EQ(0u, m_arena.inSection++);
        Sleep(Below(3));
        --m_arena.inSection;
    }

    bool Own(Guarded& guarded)
    {
        const DWORD outcome = WaitForSingleObject(guarded.mutex.Get(), Below(6));
        m_arena.timeouts += outcome == WAIT_TIMEOUT;
        m_arena.abandoned += outcome == WAIT_ABANDONED;
        return outcome != WAIT_TIMEOUT;
    }

    void VisitMutex(Guarded& guarded)
    {
        if (!Own(guarded)) {
            return;
        }
        ASSERT_EQ(0u, guarded.inside++);
        Sleep(Below(3));
        --guarded.inside;
        ASSERT_TRUE(ReleaseMutex(guarded.mutex.Get()));
    }

    Arena& m_arena;
    std::mt19937 m_random;
};

TEST(WaitStress, NobodyGetsWhatAnotherOwns)
{
    const uint32_t seed = Seed();
    std::cout << "ZRT_SEED=" << seed << '\n';
    const uint64_t handles = OpenHandleCount();
    {
        VirtualClock clock;
        Arena arena;
        std::mt19937 random(seed);
        for (unsigned generation = 0; generation < kGenerations; ++generation) {
            std::vector<VirtualClock::Thread> threads;
            for (unsigned i = 0; i < kThreads; ++i) {
                threads.emplace_back(
                    [actor = CActor(arena, static_cast<uint32_t>(random()))]() mutable { actor.Run(); });
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
