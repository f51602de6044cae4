// What a query costs beyond the waits that it must keep, and what queries cost a job beside them. In real
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
constexpr double kJobSeconds = 1.0;
constexpr size_t kCardBytes = 4 << 20;
constexpr uint32_t kPieceBytes = 4096;

/// The columns that matter: CPU, which is this thread's, and wall time beyond the delay.
void OneAfterAnother(benchmark::State& state)
{
    const MonitoredPort port(L"bench:");
    while (state.KeepRunning()) {
        const Stopwatch watch;
        if (port.Ask(kValueName) == 0) {
            state.SkipWithError("no answer");
            return;
        }
        state.SetIterationTime(watch.Seconds() - kReplyDelaySeconds);
    }
}

/// The delay alone: what a wait costs the processor on this machine.
void DelayAlone(benchmark::State& state)
{
    while (state.KeepRunning()) {
        Sleep(CData::kDefaultSendDelayMs);
    }
}

/// All at once; the time is each one's share beyond its delay.
void SixteenAtOnce(benchmark::State& state)
{
    const MonitoredPort port(L"bench:");
    while (state.KeepRunning()) {
        std::atomic<int> answered = 0;
        const Stopwatch watch;
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

/// The bytes that a job carries inside one card, where no query may go in, while threads ask all the time:
/// what the locks alone take from it.
void CarryBeside(benchmark::State& state)
{
    const CardData card = LongCard(kCardBytes, kPieceBytes);
    const std::span<const uint8_t> records = std::span(card.bytes).subspan(card.repeatFrom);
    MonitoredPort port(L"bench:");
    port.StartDocument();
    Carry(port.Handle(), card.bytes, kPieceBytes, Library().pfnWritePort);
    std::atomic<bool> over = false;
    std::vector<std::jthread> askers;
    askers.reserve(static_cast<size_t>(state.range(0)));
    for (int64_t asker = 0; asker < state.range(0); ++asker) {
        askers.emplace_back([&] {
            while (!over) {
                port.Ask(kValueName);
            }
        });
    }
    int64_t bytes = 0;
    while (state.KeepRunning()) {
        const Stopwatch watch;
        do {
            Carry(port.Handle(), records, kPieceBytes, Library().pfnWritePort);
            bytes += static_cast<int64_t>(records.size());
        } while (watch.Seconds() < kJobSeconds);
    }
    over = true;
    state.SetBytesProcessed(bytes);
    askers.clear();
    port.EndDocument();
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
BENCHMARK(CarryBeside)->Name("carry_beside/queries")->Arg(0)->Arg(kAskers)->Iterations(1)->UseRealTime();

} // namespace
} // namespace zrtmon::bench
