/// One port of the simulated port monitor.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/sync.h"
#include "simulator/port_device.h"
#include "simulator/port_monitor.h"

namespace zrtmon::sim {

/// Keeps the order that a port demands (opened, started, written and read, ended, closed), counts, and passes
/// on to the device. Results are 0 or a Win32 error code, as `CPortMonitor` gives them. Any thread; one call
/// at a time reaches the device.
class CSimPort {
public:
    CSimPort(std::wstring name, std::unique_ptr<IPortDevice> device);

    const std::wstring& Name() const { return m_name; }

    DWORD Open();
    DWORD Close();
    DWORD Start(DWORD level, const BYTE* info);
    DWORD End();
    DWORD Write(const BYTE* data, DWORD size, DWORD* written);
    DWORD Read(BYTE* buffer, DWORD size, DWORD* read);
    DWORD Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output, DWORD outputSize,
                  DWORD* returned);

    /// Null when the port is closed or its device no printer.
    CCardPrinter* Printer();
    PortView View();
    /// What failed in the last document, once that has ended; channels that follow it do not change it.
    std::optional<PortFailure> DocumentFailure();
    /// For what may be called concurrently.
    IPortDevice& Device() { return *m_device; }

private:
    DWORD Misuse(const char* text, DWORD error);

    std::wstring m_name;
    CCriticalSection m_lock;
    std::unique_ptr<IPortDevice> m_device;
    PortView m_view;
    std::optional<PortFailure> m_documentFailure;
};

} // namespace zrtmon::sim
