// What many ports cost in one process: time to open, query, write and close, and memory. The waits of queries
// take no time here, on a clock that jumps over them.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>
#include <string>

#include "bench/monitored_port.h"
#include "link/request_code.h"
#include "platform/virtual_clock.h"

namespace zrtmon::bench {
namespace {

constexpr size_t kPiece = 4096;

using Ports = std::vector<std::unique_ptr<CMonitoredPort>>;

Ports OpenPorts(int64_t count)
{
    Ports ports;
    for (int64_t number = 0; number < count; ++number) {
        ports.push_back(std::make_unique<CMonitoredPort>(L"bench" + std::to_wstring(number) + L':'));
    }
    return ports;
}

/// Bytes that the C library's allocator has handed out, including its overhead.
double BytesInUse() { return static_cast<double>(mallinfo2().uordblks); }

void OpenAndClose(benchmark::State& state)
{
    while (state.KeepRunning()) {
        OpenPorts(state.range(0));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void AskEach(benchmark::State& state)
{
    const CVirtualClock clock;
    const Ports ports = OpenPorts(state.range(0));
    while (state.KeepRunning()) {
        for (const auto& port : ports) {
            if (port->Ask(L"PrinterError") == 0) {
                state.SkipWithError("no answer");
                return;
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// A job on one of many open ports.
void WriteToOne(benchmark::State& state)
{
    const Ports ports = OpenPorts(state.range(0));
    const CardData card = LongCard(200 << 10, kPiece);
    const std::span<const uint8_t> records = card.Records();
    CMonitoredPort& port = *ports[ports.size() / 2];
    port.StartDocument();
    Carry(port.Handle(), card.bytes, kPiece, Library().pfnWritePort);
    while (state.KeepRunning()) {
        Carry(port.Handle(), records, kPiece, Library().pfnWritePort);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(records.size()));
    port.EndDocument();
}

/// Memory of a port without the part that the benchmark adds, which is measured separately.
void Memory(benchmark::State& state)
{
    const CVirtualClock clock;
    Library();
    double ownBytes = 0;
    double idleBytes = 0;
    double usedBytes = 0;
    const auto count = static_cast<size_t>(state.range(0));
    while (state.KeepRunning()) {
        const double before = BytesInUse();
        std::vector<std::unique_ptr<CopyingPort>> own;
        for (size_t index = 0; index < count; ++index) {
            own.push_back(std::make_unique<CopyingPort>());
        }
        ownBytes = BytesInUse() - before;
        own.clear();
        const Ports ports = OpenPorts(state.range(0));
        idleBytes = BytesInUse() - before;
        for (const auto& port : ports) {
            port->StartDocument();
            port->EndDocument();
            for (const RequestName& name : RequestNameTable) {
                port->Ask(name.valueName);
            }
        }
        usedBytes = BytesInUse() - before;
    }
    state.counters["idle_bytes"] = (idleBytes - ownBytes) / static_cast<double>(count);
    state.counters["all_requests_bytes"] = (usedBytes - ownBytes) / static_cast<double>(count);
}

BENCHMARK(OpenAndClose)->Name("ports/open_close")->RangeMultiplier(10)->Range(1, 1000);
BENCHMARK(AskEach)->Name("ports/query")->RangeMultiplier(10)->Range(1, 1000);
BENCHMARK(WriteToOne)->Name("ports/write")->RangeMultiplier(10)->Range(1, 1000);
BENCHMARK(Memory)->Name("ports/memory")->Arg(1000)->Iterations(1);

} // namespace
} // namespace zrtmon::bench
