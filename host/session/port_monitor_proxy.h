/// A port monitor that forwards every call to the real one and reports it to an observer.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "platform/win32.h"

namespace zrtmon::host {

/// One call at the lower port, reported after it has returned. The views are valid during the report only.
struct CPortCall {
    const char* name; ///< "WritePort"
    HANDLE port;      ///< null while the port is not open
    DWORD startTick;  ///< GetTickCount
    DWORD durationMs;
    std::string_view sent;     ///< bytes offered, the input of a control
    DWORD taken;               ///< how many of them the port took
    std::string_view received; ///< bytes that came back
    DWORD control;             ///< control code of GetPrinterDataFromPort
    bool succeeded;
    DWORD lastError; ///< if it failed
};

/// Receives the calls, each on the thread that made it.
class IPortCallObserver {
public:
    virtual ~IPortCallObserver() = default;
    virtual void OnPortCall(const CPortCall& call) = 0;
};

/// Its table is given to the language monitor in place of the port monitor's. Results and last errors are
/// those of the port monitor; entries that it lacks are null here too. Its functions may be called from any
/// thread while the proxy exists. The observer may be null, and must outlive the proxy.
class CPortMonitorProxy {
public:
    CPortMonitorProxy(HANDLE lowerMonitor, const MONITOR2& lower, IPortCallObserver* observer);
    CPortMonitorProxy(const CPortMonitorProxy&) = delete;
    CPortMonitorProxy& operator=(const CPortMonitorProxy&) = delete;

    HANDLE Monitor() { return this; }
    MONITOR2* Table() { return &m_table; }

    /// Bytes carried so far, in either direction. Any thread.
    uint64_t MovedBytes() const { return m_moved.load(std::memory_order_relaxed); }

private:
    struct CEntries;
    struct CPort;

    HANDLE m_lowerMonitor;
    const MONITOR2& m_lower;
    IPortCallObserver* m_observer;
    MONITOR2 m_table{};
    std::atomic<uint64_t> m_moved{0};
};

} // namespace zrtmon::host
