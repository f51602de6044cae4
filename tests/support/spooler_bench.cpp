#include "tests/support/spooler_bench.h"

#include <algorithm>
#include <stdexcept>

#include "monitor/entry_points.h"
#include "platform/faults.h"
#include "platform/spooler_admin.h"

namespace zrtmon::test {

namespace {

constexpr size_t kSpoolerPiece = 64 * 1024;
constexpr unsigned kIdleRoundsBeforePause = 4;

MONITOR2* LoadEntryPoints()
{
    static const BOOL attached = DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    HANDLE monitor = nullptr;
    MONITORINIT init{};
    return attached ? InitializePrintMonitor2(&init, &monitor) : nullptr;
}

LPWSTR Mutable(const wchar_t* text) { return const_cast<LPWSTR>(text); }

} // namespace

SpoolerBench::SpoolerBench(const std::string& options, DWORD startTick)
    : clock(startTick), lower(sim::CPortMonitor::Table(), ports.Handle()), table(LoadEntryPoints()),
      m_portName(L"sim:" + std::wstring(options.begin(), options.end()))
{
    spooler::CreatePrinter(kPrinter);
}

SpoolerBench::~SpoolerBench()
{
    Close();
    spooler::RemovePrinter(kPrinter);
}

bool SpoolerBench::Open()
{
    return table->pfnOpenPortEx(nullptr, lower.Handle(), Mutable(m_portName.c_str()), Mutable(kPrinter),
                                &port, LowerPort::Table()) != FALSE;
}

bool SpoolerBench::Close()
{
    if (!port || !table->pfnClosePort(port)) {
        return false;
    }
    port = nullptr;
    return true;
}

SpoolerBench::Answer SpoolerBench::Ask(const std::wstring& name) const
{
    char text[4096] = "";
    DWORD returned = 0;
    SetLastError(0);
    const BOOL ok = table->pfnGetPrinterDataFromPort(port, 0, Mutable(name.c_str()), nullptr, 0,
                                                     reinterpret_cast<LPWSTR>(text), sizeof text, &returned);
    const DWORD error = GetLastError();
    const FaultFree own;
    return {ok != FALSE, error, text};
}

bool SpoolerBench::StartDocument()
{
    {
        const FaultFree own;
        m_jobId = spooler::SubmitJob(kPrinter, L"cards");
    }
    DOC_INFO_1W info{};
    return table->pfnStartDocPort(port, Mutable(kPrinter), m_jobId, 1, reinterpret_cast<LPBYTE>(&info)) !=
           FALSE;
}

size_t SpoolerBench::Offer(const uint8_t* data, size_t size, const std::function<size_t()>& pieceSize,
                           uint64_t giveUpMs) const
{
    size_t taken = 0;
    while (taken < size) {
        const size_t piece = std::min(pieceSize ? pieceSize() : kSpoolerPiece, size - taken);
        const uint64_t start = clock.Elapsed();
        DWORD written = 0;
        for (unsigned round = 1; written == 0 && clock.Elapsed() - start < giveUpMs; ++round) {
            if (!table->pfnWritePort(port, const_cast<LPBYTE>(data + taken), static_cast<DWORD>(piece),
                                     &written)) {
                throw std::logic_error("WritePort refused an open port");
            }
            if (round % kIdleRoundsBeforePause == 0) {
                Sleep(1);
            }
        }
        if (written == 0) {
            break;
        }
        taken += written;
    }
    return taken;
}

bool SpoolerBench::EndDocument()
{
    const bool ended = table->pfnEndDocPort(port) != FALSE;
    const FaultFree own;
    spooler::RemoveJob(kPrinter, m_jobId);
    return ended;
}

void SpoolerBench::DeleteJob() const
{
    HANDLE printer = nullptr;
    if (OpenPrinterW(Mutable(kPrinter), &printer, nullptr)) {
        SetJobW(printer, m_jobId, 0, nullptr, JOB_CONTROL_DELETE);
        ClosePrinter(printer);
    }
}

bool SpoolerBench::Print(const std::vector<uint8_t>& job, const std::function<size_t()>& pieceSize)
{
    if (!StartDocument()) {
        return false;
    }
    const bool all = Offer(job.data(), job.size(), pieceSize) == job.size();
    return EndDocument() && all;
}

std::string SpoolerBench::Published(const wchar_t* valueName)
{
    return spooler::LoadValue(kPrinter, valueName).value_or("-").c_str();
}

sim::CCardPrinter& SpoolerBench::Printer() { return *ports.FindPrinter(m_portName); }

} // namespace zrtmon::test
