#include "simulator/port_monitor.h"

#include <new>

#include "platform/faults.h"
#include "simulator/capture_file.h"
#include "simulator/printer_options.h"
#include "simulator/printer_port_device.h"
#include "simulator/sim_port.h"

namespace zrtmon::sim {

namespace {

/// Runs a function that returns 0 or an error code; no exception leaves. Returns the code.
template <class Body>
DWORD Guarded(Body body) noexcept
{
    try {
        const CFaultExemption quiet;
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_GEN_FAILURE;
    }
}

BOOL Answer(DWORD error)
{
    if (error == ERROR_SUCCESS) {
        return TRUE;
    }
    SetLastError(error);
    return FALSE;
}

/// Runs an operation of the port that a handle refers to.
template <class Body>
BOOL OnPort(HANDLE port, Body body)
{
    return Answer(Guarded([&] { return port ? body(*static_cast<CSimPort*>(port)) : ERROR_INVALID_HANDLE; }));
}

BOOL WINAPI OpenPortEntry(HANDLE monitor, LPWSTR name, PHANDLE port)
{
    if (!monitor || !name || !port) {
        return Answer(ERROR_INVALID_PARAMETER);
    }
    *port = nullptr;
    return Answer(Guarded([&] { return static_cast<CPortMonitor*>(monitor)->OpenPort(name, port); }));
}

BOOL WINAPI ClosePortEntry(HANDLE port)
{
    return OnPort(port, [](CSimPort& p) { return p.Close(); });
}

BOOL WINAPI StartDocEntry(HANDLE port, LPWSTR, DWORD, DWORD level, LPBYTE info)
{
    return OnPort(port, [&](CSimPort& p) { return p.Start(level, info); });
}

BOOL WINAPI EndDocEntry(HANDLE port)
{
    return OnPort(port, [](CSimPort& p) { return p.End(); });
}

BOOL WINAPI WriteEntry(HANDLE port, LPBYTE data, DWORD size, LPDWORD written)
{
    return OnPort(port, [&](CSimPort& p) { return p.Write(data, size, written); });
}

BOOL WINAPI ReadEntry(HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read)
{
    return OnPort(port, [&](CSimPort& p) { return p.Read(buffer, size, read); });
}

BOOL WINAPI ControlEntry(HANDLE port, DWORD code, LPWSTR, LPWSTR input, DWORD inputSize, LPWSTR output,
                         DWORD outputSize, LPDWORD returned)
{
    return OnPort(port, [&](CSimPort& p) {
        return p.Control(code, reinterpret_cast<const BYTE*>(input), inputSize,
                         reinterpret_cast<BYTE*>(output), outputSize, returned);
    });
}

DWORD WINAPI BidiEntry(HANDLE, DWORD, LPCWSTR, BIDI_REQUEST_CONTAINER*, BIDI_RESPONSE_CONTAINER**)
{
    return ERROR_NOT_SUPPORTED;
}

MONITOR2 MakeTable()
{
    MONITOR2 table{};
    table.cbSize = sizeof table;
    table.pfnOpenPort = OpenPortEntry;
    table.pfnClosePort = ClosePortEntry;
    table.pfnStartDocPort = StartDocEntry;
    table.pfnEndDocPort = EndDocEntry;
    table.pfnWritePort = WriteEntry;
    table.pfnReadPort = ReadEntry;
    table.pfnGetPrinterDataFromPort = ControlEntry;
    table.pfnSendRecvBidiDataFromPort = BidiEntry;
    return table;
}

} // namespace

CPortMonitor::CPortMonitor(DeviceMaker makeDevice) : m_makeDevice(std::move(makeDevice)) {}

CPortMonitor::~CPortMonitor() = default;

MONITOR2* CPortMonitor::Table()
{
    static MONITOR2 table = MakeTable();
    return &table;
}

DWORD CPortMonitor::OpenPort(const std::wstring& portName, HANDLE* port)
{
    CSectionHold hold(m_lock);
    CSimPort* found = FindPort(portName);
    if (!found) {
        DWORD error = ERROR_SUCCESS;
        std::unique_ptr<IPortDevice> device = MakeDevice(portName, &error);
        if (!device) {
            return error;
        }
        m_ports.push_back(std::make_unique<CSimPort>(portName, std::move(device)));
        found = m_ports.back().get();
    }
    const DWORD error = found->Open();
    *port = error == ERROR_SUCCESS ? found : nullptr;
    return error;
}

std::unique_ptr<IPortDevice> CPortMonitor::MakeDevice(const std::wstring& portName, DWORD* error) const
{
    if (!HasKnownKind(portName)) {
        *error = ERROR_UNKNOWN_PORT;
        return m_makeDevice ? m_makeDevice(portName) : nullptr;
    }
    std::string problem;
    const std::optional<PortName> name = ParsePortName(portName, &problem);
    if (!name) {
        *error = ERROR_INVALID_PARAMETER;
        return nullptr;
    }
    if (name->kind == PortName::Kind::File) {
        return std::make_unique<CCaptureFile>(name->filePath);
    }
    return std::make_unique<CPrinterPortDevice>(name->options);
}

CCardPrinter* CPortMonitor::FindPrinter(const std::wstring& portName)
{
    CSectionHold hold(m_lock);
    CSimPort* port = FindPort(portName);
    return port ? port->Printer() : nullptr;
}

PortView CPortMonitor::View(const std::wstring& portName)
{
    CSectionHold hold(m_lock);
    CSimPort* port = FindPort(portName);
    return port ? port->View() : PortView();
}

std::optional<PortFailure> CPortMonitor::DocumentFailure(const std::wstring& portName)
{
    CSectionHold hold(m_lock);
    CSimPort* port = FindPort(portName);
    return port ? port->DocumentFailure() : std::nullopt;
}

IPortDevice* CPortMonitor::FindDevice(const std::wstring& portName)
{
    CSectionHold hold(m_lock);
    CSimPort* port = FindPort(portName);
    return port ? &port->Device() : nullptr;
}

/// The lock is held.
CSimPort* CPortMonitor::FindPort(const std::wstring& portName) const
{
    for (const auto& port : m_ports) {
        if (lstrcmpiW(port->Name().c_str(), portName.c_str()) == 0) {
            return port.get();
        }
    }
    return nullptr;
}

} // namespace zrtmon::sim
