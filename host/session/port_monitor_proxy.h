/// A port monitor in front of the port monitor: passes every call on and sees what goes through.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "platform/win32.h"

namespace zrtmon::host {

/// One call at the lower port, told when it has returned. The views are valid during the telling only.
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
    DWORD lastError; ///< when it failed
};

/// Whoever wants to know of the calls. Called on the thread that made the call.
class IPortCallObserver {
public:
    virtual ~IPortCallObserver() = default;
    virtual void OnPortCall(const CPortCall& call) = 0;
};

/// The table handed to the language monitor in place of the port monitor's. Results and last errors are
/// the port monitor's own; entries that it lacks are missing here too. Its functions may be called from
/// any thread, as long as the tap exists; the observer is lent for that time, and may be null.
class CPortMonitorProxy {
public:
    CPortMonitorProxy(HANDLE lowerMonitor, const MONITOR2& lower, IPortCallObserver* observer);
    CPortMonitorProxy(const CPortMonitorProxy&) = delete;
    CPortMonitorProxy& operator=(const CPortMonitorProxy&) = delete;

    HANDLE Monitor() { return this; }
    MONITOR2* Table() { return &m_table; }

    /// Bytes that went through in either direction so far. Any thread.
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
