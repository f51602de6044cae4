// What carrying job data through the library costs, compared with a lower monitor that only copies it.
#include <benchmark/benchmark.h>

#include <map>
#include <utility>

#include "bench/monitored_port.h"
#include "bench/stopwatch.h"
#include "platform/faults.h"

namespace zrtmon::bench {
namespace {

constexpr size_t kLongCard = 16 << 20;   // larger than any processor cache
constexpr size_t kShortCard = 200 << 10; // stays in the cache of one that has 512 KiB
constexpr uint32_t kUsualPayload = 64 << 10;
constexpr size_t kUsualPiece = 64 << 10;

const CardData& Card(size_t bytes, uint32_t payloadBytes = kUsualPayload)
{
    static std::map<std::pair<size_t, uint32_t>, CardData> cards;
    CardData& card = cards[{bytes, payloadBytes}];
    if (card.bytes.empty()) {
        card = LongCard(bytes, payloadBytes);
    }
    return card;
}

double SecondsToCarry(HANDLE port, std::span<const uint8_t> card, size_t pieceSize,
                      decltype(MONITOR2::pfnWritePort) writePort)
{
    const CStopwatch watch;
    Carry(port, card, pieceSize, writePort);
    return watch.Seconds();
}

/// Whether allocations are counted at all: without this a broken count would pass for none.
bool AreAllocationsCounted()
{
    const CFaultPlan plan(FaultPoint::Allocation, UINT64_MAX);
    ::operator delete(::operator new(1));
    return plan.Calls() == 1;
}

/// Each round carries the records both ways in direct succession, so that other load on the machine
/// affects both. The run's time is the library's.
void CarryBothWays(benchmark::State& state, const CardData& card, size_t pieceSize)
{
    if (!AreAllocationsCounted()) {
        return state.SkipWithError("allocations are not counted");
    }
    const std::span<const uint8_t> records = card.Records();
    const auto writeLibrary = Library().pfnWritePort;
    const auto writeBelow = CopyingMonitor().pfnWritePort;
    CopyingPort alone;
    CMonitoredPort port(L"bench:");
    port.lower.jobBegin = card.bytes.data();
    port.lower.jobEnd = card.bytes.data() + card.bytes.size();
    port.StartDocument();
    Carry(port.Handle(), card.bytes, pieceSize, writeLibrary);        // first use allocates what is kept
    const CFaultPlan allocations(FaultPoint::Allocation, UINT64_MAX); // never fails, only counts
    double throughLibrary = 0;
    double below = 0;
    while (state.KeepRunning()) {
        below += SecondsToCarry(&alone, records, pieceSize, writeBelow);
        const double seconds = SecondsToCarry(port.Handle(), records, pieceSize, writeLibrary);
        throughLibrary += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["allocations"] = static_cast<double>(allocations.Calls());
    state.counters["copied_bytes"] = static_cast<double>(port.lower.bytesElsewhere);
    port.EndDocument();
    const double mebibytes =
        static_cast<double>(state.iterations()) * static_cast<double>(records.size()) / (1 << 20);
    state.counters["more_percent"] = (throughLibrary / below - 1) * 100;
    state.counters["us_per_MiB"] = throughLibrary * 1e6 / mebibytes;
    state.counters["below_us_per_MiB"] = below * 1e6 / mebibytes;
}

void LongJob(benchmark::State& state)
{
    CarryBothWays(state, Card(kLongCard), static_cast<size_t>(state.range(0)));
}
void CachedJob(benchmark::State& state)
{
    CarryBothWays(state, Card(kShortCard), static_cast<size_t>(state.range(0)));
}
void Packets(benchmark::State& state)
{
    CarryBothWays(state, Card(kLongCard, static_cast<uint32_t>(state.range(0))), kUsualPiece);
}

/// Bytes that are not packets pass without a scan: the cost of offering and sending alone.
void Unframed(benchmark::State& state)
{
    static const CardData plain{std::vector<uint8_t>(kLongCard, ' '), 0};
    CarryBothWays(state, plain, static_cast<size_t>(state.range(0)));
}

BENCHMARK(LongJob)->Name("carry")->RangeMultiplier(4)->Range(1 << 10, 1 << 20)->UseManualTime();
BENCHMARK(CachedJob)->Name("carry_cached")->Arg(4 << 10)->Arg(64 << 10)->UseManualTime();
BENCHMARK(Unframed)->Name("carry_unframed")->RangeMultiplier(4)->Range(1 << 10, 1 << 20)->UseManualTime();
BENCHMARK(Packets)->Name("carry_packets")->RangeMultiplier(4)->Range(1 << 10, 1 << 20)->UseManualTime();

} // namespace
} // namespace zrtmon::bench
