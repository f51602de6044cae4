// What a query costs beyond its prescribed waits, and what concurrent queries cost a job. In real
// time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "bench/monitored_port.h"
#include "bench/stopwatch.h"
#include "requests/data.h"

namespace zrtmon::bench {
namespace {

constexpr const wchar_t* kValueName = L"PrinterError";
constexpr double kReplyDelaySeconds =
    CData::kDefaultSendDelayMs / 1000.0; ///< between its command and its reply
constexpr int kAskers = 16;
constexpr double kJobSeconds = 2.0;
constexpr size_t kCardBytes = 1 << 20;
constexpr uint32_t kPieceBytes = 4096;

/// The columns that matter: CPU, which is this thread's, and wall time beyond the delay.
void OneAfterAnother(benchmark::State& state)
{
    const CMonitoredPort port(L"bench:");
    while (state.KeepRunning()) {
        const CStopwatch watch;
        if (port.Ask(kValueName) == 0) {
            state.SkipWithError("no answer");
            return;
        }
        state.SetIterationTime(watch.Seconds() - kReplyDelaySeconds);
    }
}

/// The delay alone: processor time of a wait on this machine.
void DelayAlone(benchmark::State& state)
{
    while (state.KeepRunning()) {
        Sleep(CData::kDefaultSendDelayMs);
    }
}

/// All at once; the time is each one's share beyond its delay.
void SixteenAtOnce(benchmark::State& state)
{
    const CMonitoredPort port(L"bench:");
    while (state.KeepRunning()) {
        std::atomic<int> answered = 0;
        const CStopwatch watch;
        {
            std::vector<std::jthread> askers;
            askers.reserve(kAskers);
            for (int asker = 0; asker < kAskers; ++asker) {
                askers.emplace_back([&] { answered += port.Ask(kValueName) != 0 ? 1 : 0; });
            }
        }
        if (answered != kAskers) {
            state.SkipWithError("a query without an answer");
            return;
        }
        state.SetIterationTime(watch.Seconds() / kAskers - kReplyDelaySeconds);
    }
}

/// A port with a job inside one card, where no query is let through.
class CPortInsideCard {
public:
    explicit CPortInsideCard(const wchar_t* name, const CardData& card)
        : m_records(card.Records()), m_port(name)
    {
        m_port.StartDocument();
        Carry(m_port.Handle(), card.bytes, kPieceBytes, Library().pfnWritePort);
    }
    ~CPortInsideCard() { m_port.EndDocument(); }

    double SecondsToCarryRecords()
    {
        const CStopwatch watch;
        Carry(m_port.Handle(), m_records, kPieceBytes, Library().pfnWritePort);
        return watch.Seconds();
    }
    const CMonitoredPort& Port() const { return m_port; }

private:
    std::span<const uint8_t> m_records;
    CMonitoredPort m_port;
};

/// What the locks alone cost a job while threads query all the time: job data goes alternately to the queried
/// port and to one that nobody queries.
void CarryBesideQueries(benchmark::State& state)
{
    const CardData card = LongCard(kCardBytes, kPieceBytes);
    CPortInsideCard asked(L"asked:", card);
    CPortInsideCard quiet(L"quiet:", card);
    std::atomic<bool> isOver = false;
    std::vector<std::jthread> askers;
    askers.reserve(kAskers);
    for (int asker = 0; asker < kAskers; ++asker) {
        askers.emplace_back([&] {
            while (!isOver) {
                asked.Port().Ask(kValueName);
            }
        });
    }
    double askedSeconds = 0;
    double quietSeconds = 0;
    while (state.KeepRunning()) {
        const CStopwatch watch;
        while (watch.Seconds() < kJobSeconds) {
            askedSeconds += asked.SecondsToCarryRecords();
            quietSeconds += quiet.SecondsToCarryRecords();
        }
    }
    isOver = true;
    askers.clear();
    state.counters["lost_percent"] = (1 - quietSeconds / askedSeconds) * 100;
}

BENCHMARK(OneAfterAnother)
    ->Name("query/alone")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(DelayAlone)->Name("query/delay_alone")->Iterations(20)->Unit(benchmark::kMicrosecond);
BENCHMARK(SixteenAtOnce)
    ->Name("query/16_threads")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(CarryBesideQueries)->Name("carry_beside_queries")->Iterations(1)->UseRealTime();

} // namespace
} // namespace zrtmon::bench
