#include "bench/monitored_port.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "monitor/entry_points.h"
#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"

namespace zrtmon::bench {

namespace {

constexpr size_t kRecordBytes = 476;
constexpr DWORD kLongestAnswer = 4096;
wchar_t printerName[] = L"Cards";

const MONITOR2& InitializeLibrary()
{
    spooler::CreatePrinter(printerName);
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    MONITORINIT init{};
    HANDLE monitor = nullptr;
    return *InitializePrintMonitor2(&init, &monitor);
}

} // namespace

const MONITOR2& Library()
{
    static const MONITOR2& table = InitializeLibrary();
    return table;
}

CMonitoredPort::CMonitoredPort(std::wstring portName)
    : CMonitoredPort(std::move(portName), &lower, CopyingMonitor())
{
}

CMonitoredPort::CMonitoredPort(std::wstring portName, HANDLE lowerMonitor, const MONITOR2& lowerTable)
    : m_name(std::move(portName))
{
    MONITOR2 below = lowerTable;
    if (!Library().pfnOpenPortEx(nullptr, lowerMonitor, m_name.data(), printerName, &m_port, &below)) {
        throw std::runtime_error("the port does not open");
    }
}

CMonitoredPort::~CMonitoredPort() { Library().pfnClosePort(m_port); }

void CMonitoredPort::StartDocument()
{
    DOC_INFO_1W info{};
    Library().pfnStartDocPort(m_port, printerName, 1, 1, reinterpret_cast<LPBYTE>(&info));
}

void CMonitoredPort::EndDocument() { Library().pfnEndDocPort(m_port); }

DWORD CMonitoredPort::Ask(const wchar_t* valueName) const
{
    std::array<char, kLongestAnswer> answer{};
    DWORD returned = 0;
    Library().pfnGetPrinterDataFromPort(m_port, 0, const_cast<LPWSTR>(valueName), nullptr, 0,
                                        reinterpret_cast<LPWSTR>(answer.data()), kLongestAnswer, &returned);
    return returned;
}

CardData LongCard(size_t bytes, uint32_t payloadBytes)
{
    sim::JobShape shape;
    // The first packet opens the card and the last one ends it: neither may be repeated.
    shape.recordsPerSide = static_cast<uint32_t>((bytes + 2 * size_t{payloadBytes}) / kRecordBytes) + 1;
    shape.payloadBytes = payloadBytes;
    shape.endCommand = false;
    sim::Job job = sim::BuildJob(shape);
    job.bytes.resize(job.packetStarts.back());
    return {std::move(job.bytes), job.packetStarts.at(1)};
}

void Carry(HANDLE port, std::span<const uint8_t> bytes, size_t pieceSize,
           decltype(MONITOR2::pfnWritePort) writePort)
{
    for (size_t offset = 0; offset < bytes.size();) {
        const size_t size = std::min(pieceSize, bytes.size() - offset);
        DWORD written = 0;
        writePort(port, const_cast<LPBYTE>(bytes.data() + offset), static_cast<DWORD>(size), &written);
        offset += written;
    }
}

} // namespace zrtmon::bench
