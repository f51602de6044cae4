/// One printer of the spooler, on one port, above the language monitor.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/session/monitor_library.h"
#include "host/session/port_monitor_proxy.h"
#include "host/session/trace.h"
#include "platform/sync.h"
#include "simulator/port_monitor.h"

namespace zrtmon::host {

struct CSessionOptions {
    std::string port = "sim:";            ///< as sim::CPortMonitor names its ports, UTF-8
    std::string printer = "Card Printer"; ///< UTF-8
    std::string library;                  ///< path of the monitor's library; empty: looked for
    std::string trace;                    ///< path of the trace file; empty: none
};

/// A port's name fit to show: without the passwords that a simulated printer may be set up with.
std::string ShownPort(const std::string& port);

/// What the monitor has published of the printer's state.
struct CPublishedValues {
    std::optional<int> printerStatus;
    std::optional<int> printerError;
    std::optional<int> deviceError;
    std::optional<int> cardCount;

    bool operator==(const CPublishedValues&) const = default;
};

/// A printer in the spooler with its port open. The port is closed and the printer removed at the end.
class CSpoolerSession {
public:
    /// Throws CHostError: Usage for a bad port name, Busy for a port in use, NoDevice for a port that does
    /// not open or a library that does not load, CannotCreate for a trace file that cannot be written.
    CSpoolerSession(const CSessionOptions& options, const CHostEnvironment& environment);
    ~CSpoolerSession();
    CSpoolerSession(const CSpoolerSession&) = delete;
    CSpoolerSession& operator=(const CSpoolerSession&) = delete;

    const MONITOR2& Table() const { return m_library.Table(); }
    HANDLE Port() const { return m_port; }
    const std::wstring& PrinterName() const { return m_printerName; }
    /// The spooler's printer, open with the right to administer it.
    HANDLE Printer() const { return m_printer.Get(); }
    /// Whether a printer that could answer is behind the port; a captured file is none.
    bool HasDevice() const { return m_hasDevice; }

    /// Bytes that went through the lower port so far. Any thread.
    uint64_t MovedBytes() const { return m_proxy.MovedBytes(); }
    /// The values that the monitor has published last. Any thread.
    CPublishedValues PublishedValues() const;

private:
    std::wstring m_printerName;
    bool m_hasDevice;
    CMonitorLibrary m_library;
    std::unique_ptr<CTrace> m_trace; ///< null when none is written
    sim::CPortMonitor m_portMonitor;
    CPortMonitorProxy m_proxy;
    CPrinterHandle m_printer;
    HANDLE m_port = nullptr;
};

/// A job in the queue with its document open on the port.
class CDocument {
public:
    /// Submits the job and starts its document. Throws CHostError: Busy when the port has a document open,
    /// NoDevice when it does not start.
    CDocument(CSpoolerSession& session, const std::wstring& name);
    /// Ends the document when it is still open, and takes the job out of the queue.
    ~CDocument();
    CDocument(const CDocument&) = delete;
    CDocument& operator=(const CDocument&) = delete;

    /// Deletes the job from the queue as a user would; the monitor cancels it when the document ends. Any
    /// thread.
    void DeleteJob();
    /// Returns when the printer has finished. False when the port cannot end the document.
    bool End();

private:
    CSpoolerSession& m_session;
    DWORD m_jobId;
    bool m_open = false;
};

} // namespace zrtmon::host
