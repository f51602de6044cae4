// What carrying a job through the monitor costs, against a lower monitor that only copies the bytes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "monitor/entry_points.h"
#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"

namespace zrtmon {
namespace {

wchar_t portName[] = L"bench:";
wchar_t printerName[] = L"Cards";
uint8_t sink[1 << 16];

BOOL WINAPI Open(HANDLE, LPWSTR, PHANDLE port)
{
    *port = sink;
    return TRUE;
}
BOOL WINAPI Close(HANDLE) { return TRUE; }
BOOL WINAPI StartDoc(HANDLE, LPWSTR, DWORD, DWORD, LPBYTE) { return TRUE; }
BOOL WINAPI EndDoc(HANDLE) { return TRUE; }
BOOL WINAPI Read(HANDLE, LPBYTE, DWORD, LPDWORD) { return FALSE; }
BOOL WINAPI Write(HANDLE, LPBYTE data, DWORD size, LPDWORD written)
{
    std::memcpy(sink, data, std::min<size_t>(size, sizeof sink));
    benchmark::ClobberMemory();
    *written = size;
    return TRUE;
}

MONITOR2 CopyingMonitor()
{
    MONITOR2 table{};
    table.cbSize = sizeof table;
    table.pfnOpenPort = Open;
    table.pfnClosePort = Close;
    table.pfnStartDocPort = StartDoc;
    table.pfnEndDocPort = EndDoc;
    table.pfnReadPort = Read;
    table.pfnWritePort = Write;
    return table;
}

/// The records of one long card: the steady state of a job.
std::vector<uint8_t> LongCard()
{
    sim::JobShape shape;
    shape.recordsPerSide = 20000;
    shape.payloadBytes = 1 << 20;
    return sim::BuildJob(shape).bytes;
}

void CopyAlone(benchmark::State& state)
{
    const auto piece = static_cast<DWORD>(state.range(0));
    std::vector<uint8_t> job = LongCard();
    size_t offset = 0;
    while (state.KeepRunning()) {
        DWORD written = 0;
        Write(nullptr, job.data() + offset, piece, &written);
        offset = (offset + piece) % (job.size() - piece);
    }
    state.SetBytesProcessed(state.iterations() * piece);
}

void ThroughTheMonitor(benchmark::State& state)
{
    const auto piece = static_cast<size_t>(state.range(0));
    std::vector<uint8_t> job = LongCard();
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    HANDLE monitor = nullptr;
    MONITORINIT init{};
    MONITOR2& table = *InitializePrintMonitor2(&init, &monitor);
    MONITOR2 lower = CopyingMonitor();
    spooler::CreatePrinter(printerName);
    HANDLE port = nullptr;
    DOC_INFO_1W info{};
    auto* document = reinterpret_cast<LPBYTE>(&info);
    table.pfnOpenPortEx(nullptr, nullptr, portName, printerName, &port, &lower);
    table.pfnStartDocPort(port, printerName, 1, 1, document);
    size_t offset = 0;
    int64_t bytes = 0;
    while (state.KeepRunning()) {
        DWORD written = 0;
        while (written == 0) {
            const size_t size = std::min(piece, job.size() - offset);
            table.pfnWritePort(port, job.data() + offset, static_cast<DWORD>(size), &written);
        }
        offset += written;
        bytes += written;
        if (offset + 2 * piece > job.size()) { // the card's end would ask the printer
            state.PauseTiming();
            table.pfnEndDocPort(port);
            table.pfnStartDocPort(port, printerName, 1, 1, document);
            offset = 0;
            state.ResumeTiming();
        }
    }
    state.SetBytesProcessed(bytes);
    table.pfnClosePort(port);
    spooler::RemovePrinter(printerName);
}

BENCHMARK(CopyAlone)->Arg(4096)->Arg(65536);
BENCHMARK(ThroughTheMonitor)->Arg(4096)->Arg(65536);

} // namespace
} // namespace zrtmon
