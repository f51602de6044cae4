#include "tests/support/spooler_fixture.h"

#include <algorithm>
#include <stdexcept>

#include "monitor/entry_points.h"
#include "platform/faults.h"
#include "platform/spooler_admin.h"

namespace zrtmon::test {

namespace {

constexpr size_t kSpoolerPiece = 64 * 1024;
/// Only the password gate may interleave its commands with a packet; any other one there is a violation.
const std::wstring kStrictPrinter = L"sim:interleave=security,";
constexpr unsigned kIdleRoundsBeforePause = 4;

LPWSTR Mutable(const wchar_t* text) { return const_cast<LPWSTR>(text); }

} // namespace

MONITOR2* LoadEntryPoints()
{
    static const BOOL attached = DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    HANDLE monitor = nullptr;
    MONITORINIT init{};
    return attached ? InitializePrintMonitor2(&init, &monitor) : nullptr;
}

CPortFixture::CPortFixture(CVirtualClock& time, sim::CPortMonitor& lowerMonitor,
                           const std::wstring& printerName, const std::string& options)
    : lower(sim::CPortMonitor::Table(), lowerMonitor.Handle()), table(LoadEntryPoints()), m_clock(time),
      m_ports(lowerMonitor), m_printerName(printerName),
      m_portName(kStrictPrinter + std::wstring(options.begin(), options.end()))
{
    spooler::CreatePrinter(m_printerName);
}

CPortFixture::~CPortFixture()
{
    Close();
    spooler::RemovePrinter(m_printerName);
}

bool CPortFixture::Open(MONITOR2* lowerTable)
{
    return table->pfnOpenPortEx(nullptr, lower.Handle(), Mutable(m_portName.c_str()),
                                Mutable(m_printerName.c_str()), &port, lowerTable) != FALSE;
}

bool CPortFixture::Close()
{
    if (!port || !table->pfnClosePort(port)) {
        return false;
    }
    port = nullptr;
    return true;
}

CPortFixture::Answer CPortFixture::Ask(const std::wstring& name) const
{
    char text[4096] = "";
    DWORD returned = 0;
    SetLastError(0);
    const BOOL ok = table->pfnGetPrinterDataFromPort(port, 0, Mutable(name.c_str()), nullptr, 0,
                                                     reinterpret_cast<LPWSTR>(text), sizeof text, &returned);
    const DWORD error = GetLastError();
    const CFaultExemption own;
    return {ok != FALSE, error, text};
}

bool CPortFixture::StartDocument()
{
    {
        const CFaultExemption own;
        m_jobId = spooler::SubmitJob(m_printerName, L"cards");
    }
    DOC_INFO_1W info{};
    return table->pfnStartDocPort(port, Mutable(m_printerName.c_str()), m_jobId, 1,
                                  reinterpret_cast<LPBYTE>(&info)) != FALSE;
}

size_t CPortFixture::Offer(const uint8_t* data, size_t size, const std::function<size_t()>& pieceSize,
                           uint64_t giveUpMs) const
{
    size_t taken = 0;
    while (taken < size) {
        const size_t piece = std::min(pieceSize ? pieceSize() : kSpoolerPiece, size - taken);
        const uint64_t start = m_clock.Elapsed();
        DWORD written = 0;
        for (unsigned round = 1; written == 0 && m_clock.Elapsed() - start < giveUpMs; ++round) {
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

bool CPortFixture::EndDocument()
{
    const bool ended = table->pfnEndDocPort(port) != FALSE;
    RemoveJob();
    return ended;
}

void CPortFixture::RemoveJob()
{
    const CFaultExemption own;
    m_endedJobStatus = JobStatus();
    spooler::RemoveJob(m_printerName, m_jobId);
}

void CPortFixture::DeleteJob() const
{
    HANDLE printer = nullptr;
    if (OpenPrinterW(Mutable(m_printerName.c_str()), &printer, nullptr)) {
        SetJobW(printer, m_jobId, 0, nullptr, JOB_CONTROL_DELETE);
        ClosePrinter(printer);
    }
}

bool CPortFixture::Print(const std::vector<uint8_t>& job, const std::function<size_t()>& pieceSize)
{
    if (!StartDocument()) {
        return false;
    }
    const bool all = Offer(job.data(), job.size(), pieceSize) == job.size();
    return EndDocument() && all;
}

DWORD CPortFixture::JobStatus() const
{
    return spooler::JobStatus(m_printerName, m_jobId).value_or(m_endedJobStatus);
}

std::string CPortFixture::ValueOf(const wchar_t* valueName) const
{
    return spooler::LoadValue(m_printerName, valueName).value_or("-").c_str();
}

sim::CCardPrinter& CPortFixture::Printer() { return *m_ports.FindPrinter(m_portName); }

} // namespace zrtmon::test
