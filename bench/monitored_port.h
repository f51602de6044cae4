/// A port of the library, as the spooler opens one.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "bench/copying_monitor.h"
#include "platform/win32.h"

namespace zrtmon::bench {

/// The library's entry-point table; the library is initialised at the first call.
const MONITOR2& Library();

/// Opened by the constructor, closed by the destructor. Throws std::runtime_error if the port does not
/// open.
class CMonitoredPort {
public:
    /// Above its own CopyingPort.
    explicit CMonitoredPort(std::wstring portName);
    /// Above another lower monitor, borrowed for the life of the port.
    CMonitoredPort(std::wstring portName, HANDLE lowerMonitor, const MONITOR2& lowerTable);
    ~CMonitoredPort();
    CMonitoredPort(const CMonitoredPort&) = delete;
    CMonitoredPort& operator=(const CMonitoredPort&) = delete;

    void StartDocument();
    void EndDocument();
    HANDLE Handle() const { return m_port; }

    /// Queries a value as an application does. Returns the length of the answer, 0 without one.
    DWORD Ask(const wchar_t* valueName) const;

    CopyingPort lower;

private:
    std::wstring m_name;
    HANDLE m_port = nullptr;
};

/// The start of a job and of its first card: no query is let through after it.
struct CardData {
    std::vector<uint8_t> bytes; ///< ends with a packet, inside the card
    size_t repeatFrom;          ///< offset of the first of the packets of records, which may be repeated

    std::span<const uint8_t> Start() const { return std::span(bytes).first(repeatFrom); }
    std::span<const uint8_t> Records() const { return std::span(bytes).subspan(repeatFrom); }
};

/// At least that many bytes of records, in packets of up to payloadBytes.
CardData LongCard(size_t bytes, uint32_t payloadBytes);

/// Offers the bytes, pieceSize at a time, until all are taken.
void Carry(HANDLE port, std::span<const uint8_t> bytes, size_t pieceSize,
           decltype(MONITOR2::pfnWritePort) writePort);

} // namespace zrtmon::bench
