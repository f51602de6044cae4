/// The port monitor below the language monitor: ports that are simulated printers, and ports that capture
/// what is written to them into a file.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "platform/win32.h"
#include "simulator/card_printer.h"
#include "simulator/port_device.h"

namespace zrtmon::sim {

class CSimPort;

/// What has passed through one port.
struct PortView {
    bool open = false;
    bool documentOpen = false; ///< a document or a channel
    bool channelOpen = false;
    uint64_t documents = 0; ///< started, channels not counted
    uint64_t channels = 0;
    uint64_t writes = 0; ///< WritePort calls that were carried out
    uint64_t reads = 0;  ///< ReadPort calls that were carried out
    uint64_t controls = 0;
    uint64_t bytesWritten = 0;
    uint64_t bytesRead = 0;
    uint64_t misuses = 0;                 ///< calls that did not suit the port's state
    std::vector<std::string> misuseTexts; ///< the first 64, one sentence each
};

/// The port monitor. Names of ports are "sim:", "sim:OPTIONS" (see `simulator/printer_options.h`) and
/// "file:PATH"; names compare case-insensitively. A printer is made when its port is first
/// opened and keeps its state, as a real one would, when the port is closed and opened again. A file is
/// emptied by its port's first document or channel; later ones append.
///
/// Last errors of the table's functions: 6 (not an open port), 8, 87 (a null argument, a bad option in a
/// port name), 1796 (a name of another kind), 170 (port, document or channel already open), 31 (written,
/// read or ended outside a document; a vendor get command with no reply ready), 50 (a control that the
/// device does not serve), 122 (no room for the device ID). A file port: 2, 3 or 5 when it cannot be
/// opened, 29 when it cannot be written. No exception leaves them; any thread may call them. What they do
/// counts as the world outside for `CFaultPlan`.
class CPortMonitor {
public:
    /// Makes the device of a port whose name is neither "sim:" nor "file:"; null for a name that it does not
    /// know.
    using DeviceMaker = std::function<std::unique_ptr<IPortDevice>(const std::wstring& portName)>;

    explicit CPortMonitor(DeviceMaker makeDevice = nullptr);
    /// No call may be under way; handles become invalid.
    ~CPortMonitor();
    CPortMonitor(const CPortMonitor&) = delete;
    CPortMonitor& operator=(const CPortMonitor&) = delete;

    /// What OpenPort takes as its monitor handle. Valid as long as this object.
    HANDLE Handle() { return this; }
    /// The entry points: OpenPort, StartDocPort, WritePort, ReadPort, EndDocPort, ClosePort,
    /// GetPrinterDataFromPort, SendRecvBidiDataFromPort (returns 50). The others are null. Valid always.
    static MONITOR2* Table();

    /// The printer of an open port, borrowed as long as this object; null if the port is not open or no
    /// printer.
    CCardPrinter* FindPrinter(const std::wstring& portName);
    /// All zero for a port that was never opened.
    PortView View(const std::wstring& portName);
    /// What failed in the last document of a port, once that has ended.
    std::optional<PortFailure> DocumentFailure(const std::wstring& portName);
    /// The device of a port that was opened once, lent as long as this object, for what may be called
    /// concurrently; null for others.
    IPortDevice* FindDevice(const std::wstring& portName);

    /// What the table's OpenPort does: 0 and the port's handle, valid until it is closed, or an error code
    /// and null. std::bad_alloc may leave it.
    DWORD OpenPort(const std::wstring& portName, HANDLE* port);

private:
    CSimPort* FindPort(const std::wstring& portName) const;
    std::unique_ptr<IPortDevice> MakeDevice(const std::wstring& portName, DWORD* error) const;

    DeviceMaker m_makeDevice;
    CCriticalSection m_lock;                        ///< guards m_ports, not the ports themselves
    std::vector<std::unique_ptr<CSimPort>> m_ports; ///< one per name ever opened; its address is its handle
};

} // namespace zrtmon::sim
