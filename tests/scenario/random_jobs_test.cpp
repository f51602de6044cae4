// Jobs of random make in random pieces, partial lower writes, queries beside: the bytes below are the bytes
// above.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <list>
#include <random>

#include "simulator/job_builder.h"
#include "tests/support/spooler_bench.h"

namespace zrtmon {
namespace {

using test::SpoolerBench;

constexpr unsigned kJobs = 2000;
constexpr uint64_t kDefaultSeed = 20260105;
// What the job's own thread sends besides the job: the status and, at a job's end, the security state.
const std::vector<std::vector<uint8_t>> kOwnCommands = {{0x1B, 0, 2, 'N', 'r'}, {0x1B, 0, 2, 'N', 'P'}};
constexpr DWORD kOwnCommandSize = 5;
constexpr size_t kHeldAtMost = 1024;

uint64_t Seed()
{
    const char* text = std::getenv("ZRTMON_SEED");
    return text ? std::strtoull(text, nullptr, 10) : kDefaultSeed;
}

thread_local bool t_isQueryThread = false;

bool IsValidJob(unsigned number) { return number % 3 != 2; }

/// What happened on the way, so that a run which never met the hard cases does not pass for one that did.
struct Tally {
    unsigned answered = 0;
    unsigned refused = 0;
    unsigned droppedTails = 0;
    unsigned partialWrites = 0;
};

class RandomJobRun {
public:
    RandomJobRun(uint64_t seed, Tally& tally) : m_random(seed), m_tally(tally), m_bench("card-ms=1")
    {
        m_bench.lower.limitWrite = [this](DWORD size) { return LimitOf(size); };
        m_bench.lower.beforeWrite = [this](const uint8_t* data, DWORD size) { Note(data, size); };
    }

    void Print(const std::vector<uint8_t>& job, bool valid)
    {
        ASSERT_TRUE(m_bench.Open());
        std::atomic<bool> printing = true;
        {
            std::list<VirtualClock::Thread> queries;
            for (const wchar_t* name : {L"CardCount", L"PrinterError"}) {
                queries.emplace_back([&, name] { Query(name, printing); });
            }
            EXPECT_TRUE(m_bench.Print(job, [this] { return PieceSize(); }));
            printing = false;
        }
        Check(job, valid);
        if (valid) {
            const sim::PrinterView view = m_bench.Printer().View();
            EXPECT_EQ(0u, view.violationCount) << view.violations[0].text;
            EXPECT_EQ(0u, view.commandsInsideCard);
        }
        ASSERT_TRUE(m_bench.Close());
    }

private:
    void Query(const wchar_t* name, const std::atomic<bool>& printing)
    {
        t_isQueryThread = true;
        for (unsigned pauseMs = 1; printing; pauseMs = pauseMs * 7 % 97 + 1) {
            const bool ok = m_bench.Ask(name).ok;
            {
                const CSectionHold hold(m_lock);
                ++(ok ? m_tally.answered : m_tally.refused);
            }
            Sleep(pauseMs);
        }
    }

    DWORD LimitOf(DWORD size)
    {
        const CSectionHold hold(m_lock);
        if (t_isQueryThread || size <= kOwnCommandSize || m_random() % 4 != 0) {
            return size;
        }
        ++m_tally.partialWrites;
        return static_cast<DWORD>(m_random() % size);
    }

    void Note(const uint8_t* data, DWORD size)
    {
        const bool isOwn = std::find(kOwnCommands.begin(), kOwnCommands.end(),
                                     std::vector<uint8_t>(data, data + size)) != kOwnCommands.end();
        if (!t_isQueryThread && !isOwn) {
            m_jobWrites.insert(m_jobWrites.end(), data, data + size);
        }
    }

    size_t PieceSize()
    {
        const CSectionHold hold(m_lock);
        const size_t sizes[] = {1 + m_random() % 16, 1 + m_random() % 600, 1 + m_random() % 5000, 65536};
        return sizes[m_random() % std::size(sizes)];
    }

    /// A job that is none may end up in a held buffer which never makes a unit: what comes behind it is
    /// dropped.
    void Check(const std::vector<uint8_t>& job, bool valid)
    {
        ASSERT_LE(m_jobWrites.size(), job.size());
        ASSERT_TRUE(std::equal(m_jobWrites.begin(), m_jobWrites.end(), job.begin()));
        if (m_jobWrites.size() < job.size()) {
            EXPECT_FALSE(valid) << "bytes were lost";
            EXPECT_GE(m_jobWrites.size(), kHeldAtMost);
            ++m_tally.droppedTails;
        }
    }

    std::mt19937_64 m_random;
    CCriticalSection m_lock;
    Tally& m_tally;
    SpoolerBench m_bench;
    std::vector<uint8_t> m_jobWrites;
};

/// A packet whose only command never ends: the buffer that holds it fills up.
std::vector<uint8_t> EndlessCommand(uint64_t seed)
{
    std::vector<uint8_t> job = {0x1B, '_', 0, 0, 0, 0, 0x40, 0, 0x1B, 0, 2, 'C'};
    job.resize(500 + seed % 4000, 'p');
    return job;
}

std::vector<uint8_t> MakeJob(uint64_t seed, unsigned number)
{
    constexpr unsigned kEndlessEvery = 50;
    if (IsValidJob(number)) {
        return sim::RandomJob(seed + number).bytes;
    }
    return number % kEndlessEvery == 2 ? EndlessCommand(seed + number) : sim::RandomGarbage(seed + number);
}

TEST(RandomJobs, ArriveAsTheyWereSentWithQueriesBeside)
{
    const uint64_t seed = Seed();
    Tally tally;
    for (unsigned number = 0; number < kJobs && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE("job " + std::to_string(number) + " of ZRTMON_SEED=" + std::to_string(seed));
        RandomJobRun(seed + number, tally).Print(MakeJob(seed, number), IsValidJob(number));
    }
    std::printf(
        "ZRTMON_SEED=%llu: %u jobs, %u queries answered, %u refused, %u partial writes, %u dropped tails\n",
        static_cast<unsigned long long>(seed), kJobs, tally.answered, tally.refused, tally.partialWrites,
        tally.droppedTails);
    EXPECT_GT(tally.answered, kJobs / 2);
    EXPECT_GT(tally.partialWrites, kJobs);
    EXPECT_GT(tally.droppedTails, 0u);
    EXPECT_LT(tally.droppedTails, kJobs / 6) << "garbage that is mostly dropped proves little";
}

} // namespace
} // namespace zrtmon
