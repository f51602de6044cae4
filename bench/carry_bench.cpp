// What a job's data costs on its way through the library, against a lower monitor that only copies it.
#include <benchmark/benchmark.h>

#include <map>
#include <utility>

#include "bench/monitored_port.h"
#include "bench/stopwatch.h"
#include "platform/faults.h"

namespace zrtmon::bench {
namespace {

constexpr size_t kLongCard = 16 << 20;   // no processor's own cache holds it
constexpr size_t kShortCard = 200 << 10; // stays in the cache of one that has 512 KiB
constexpr uint32_t kUsualPayload = 64 << 10;
constexpr size_t kUsualPiece = 64 << 10;

const std::vector<uint8_t>& Card(size_t bytes, uint32_t payloadBytes = kUsualPayload)
{
    static std::map<std::pair<size_t, uint32_t>, std::vector<uint8_t>> cards;
    auto& card = cards[{bytes, payloadBytes}];
    if (card.empty()) {
        card = LongCard(bytes, payloadBytes).bytes;
    }
    return card;
}

void CarryToLowerPort(benchmark::State& state, size_t cardBytes)
{
    const std::vector<uint8_t>& card = Card(cardBytes);
    const auto write = CopyingMonitor().pfnWritePort;
    CopyingPort lower;
    while (state.KeepRunning()) {
        const Stopwatch watch;
        Carry(&lower, card, static_cast<size_t>(state.range(0)), write);
        state.SetIterationTime(watch.Seconds());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(card.size()));
}

/// A document for each round; only the carrying is timed.
void CarryThroughLibrary(benchmark::State& state, const std::vector<uint8_t>& card, size_t pieceSize)
{
    MonitoredPort port(L"bench:");
    port.lower.jobBegin = card.data();
    port.lower.jobEnd = card.data() + card.size();
    uint64_t allocations = 0;
    port.StartDocument();
    Carry(port.Handle(), card, pieceSize, Library().pfnWritePort); // makes what lasts
    port.EndDocument();
    while (state.KeepRunning()) {
        port.StartDocument();
        const FaultPlan plan(FaultPoint::Allocation, UINT64_MAX); // only counts
        const Stopwatch watch;
        Carry(port.Handle(), card, pieceSize, Library().pfnWritePort);
        state.SetIterationTime(watch.Seconds());
        allocations += plan.Calls();
        port.EndDocument();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(card.size()));
    state.counters["allocations"] = static_cast<double>(allocations);
    state.counters["copied_bytes"] = static_cast<double>(port.lower.bytesElsewhere);
}

void LongLower(benchmark::State& state) { CarryToLowerPort(state, kLongCard); }
void LongLibrary(benchmark::State& state)
{
    CarryThroughLibrary(state, Card(kLongCard), static_cast<size_t>(state.range(0)));
}
void ShortLower(benchmark::State& state) { CarryToLowerPort(state, kShortCard); }
void ShortLibrary(benchmark::State& state)
{
    CarryThroughLibrary(state, Card(kShortCard), static_cast<size_t>(state.range(0)));
}
void Packets(benchmark::State& state)
{
    CarryThroughLibrary(state, Card(kLongCard, static_cast<uint32_t>(state.range(0))), kUsualPiece);
}

BENCHMARK(LongLower)->Name("carry/lower")->RangeMultiplier(4)->Range(1 << 10, 1 << 20)->UseManualTime();
BENCHMARK(LongLibrary)->Name("carry/library")->RangeMultiplier(4)->Range(1 << 10, 1 << 20)->UseManualTime();
BENCHMARK(ShortLower)->Name("carry_cached/lower")->Arg(4 << 10)->Arg(64 << 10)->UseManualTime();
BENCHMARK(ShortLibrary)->Name("carry_cached/library")->Arg(4 << 10)->Arg(64 << 10)->UseManualTime();
BENCHMARK(Packets)
    ->Name("carry_packets/library")
    ->RangeMultiplier(4)
    ->Range(1 << 10, 1 << 20)
    ->UseManualTime();

} // namespace
} // namespace zrtmon::bench
