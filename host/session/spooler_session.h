/// One printer of the spooler, on one port, above the language monitor.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/exit_status.h"
#include "host/printer/published_values.h"
#include "host/session/monitor_library.h"
#include "host/session/port_monitor_proxy.h"
#include "host/session/query.h"
#include "host/session/trace.h"
#include "platform/sync.h"
#include "platform/system_spooler.h"
#include "simulator/port_monitor.h"

namespace zrtmon::host {

struct CSessionOptions {
    std::string port;    ///< as sim::CPortMonitor or devices/ names its ports, UTF-8
    std::string printer; ///< the printer's name in the spooler, UTF-8
    std::string library; ///< path of the monitor's library; empty: it is searched for
    std::string trace;   ///< path of the trace file; empty: none
};

/// What a port leads to.
enum class PortKind { SimulatedPrinter, File, UsbPrinter, NetworkPrinter };

/// The kind of a port by its name. Throws CHostError (Usage) if the name is invalid.
PortKind PortKindOf(const std::string& port);

/// Whether a port name is that of a printer, and not of a file. Throws CHostError (Usage) if it is invalid.
bool IsPrinterPort(const std::string& port);

/// A printer in the spooler, open with the right to administer it. It is removed with the object.
class CSpoolerPrinter {
public:
    /// Throws CHostError (NoDevice) if it does not open.
    explicit CSpoolerPrinter(const std::wstring& name);
    ~CSpoolerPrinter();
    CSpoolerPrinter(const CSpoolerPrinter&) = delete;
    CSpoolerPrinter& operator=(const CSpoolerPrinter&) = delete;

    const std::wstring& Name() const { return m_name; }
    HANDLE Get() const { return m_handle.Get(); }

private:
    std::wstring m_name;
    CPrinterHandle m_handle;
};

/// A printer in the spooler with its port open. The port is closed and the printer removed with the object.
/// Functions may be called from any thread.
class CSpoolerSession {
public:
    /// Throws CHostError: Usage for a bad port name, Busy for a port in use, NoDevice for a port that does
    /// not open or a library that does not load, CannotCreate for a trace file that cannot be written.
    /// library: shared with other sessions; null: the session loads its own.
    CSpoolerSession(const CSessionOptions& options, const CHostEnvironment& environment,
                    std::shared_ptr<const CMonitorLibrary> library = nullptr);
    ~CSpoolerSession();
    CSpoolerSession(const CSpoolerSession&) = delete;
    CSpoolerSession& operator=(const CSpoolerSession&) = delete;

    const std::wstring& PrinterName() const { return m_printer.Name(); }
    /// Whether a printer that can reply is connected to the port; a file captures the bytes and never
    /// replies.
    bool HasDevice() const { return m_kind != PortKind::File; }
    PortKind Kind() const { return m_kind; }

    /// What failed at the device in the document or channel that was started last.
    std::optional<sim::PortFailure> Failure() const;
    /// What failed in the last document, once that has ended; queries that follow do not change it.
    std::optional<sim::PortFailure> DocumentFailure();
    /// Throws CHostError if something failed: Busy for a device that another program has open, else NoDevice.
    void ThrowFailure() const;
    /// Whether the device has sent something since the document or channel was started.
    bool HasReplied() const { return !m_device || m_device->HasReplied(); }
    /// Sends nothing more in this document, and does not wait at its end.
    void AbandonDocument() const;

    /// Queries the printer by a value name and its parameters, UTF-8.
    ///
    /// A network printer serves one connection at a time. An action that waited for its turn would be carried
    /// out later, on another client's job; so it is sent only after the printer has answered a query on the
    /// same connection, and fails with kNotServedError otherwise. So does a query to which a printer that may
    /// be serving another client did not reply.
    CQueryResult Query(const std::string& requestText) const;
    /// Cancels at the printer without asking it anything before: in the middle of a job's data, where
    /// somebody was interrupted, it would take the question for data.
    CQueryResult CancelAtOnce() const;
    /// Makes the printer perform an action whose parameters are passwords, 8-bit text each. Every copy made
    /// of them is wiped.
    CQueryResult SendPasswords(const std::string& name,
                               std::initializer_list<std::string_view> passwords) const;
    /// Why a query failed with that last error, for a message.
    std::string QueryErrorText(DWORD error) const;
    /// The device ID, as the port monitor returns it through the language monitor; std::nullopt with a last
    /// error if it does not.
    std::optional<std::string> DeviceId() const;

    /// Stores a value in the printer's data. Returns 0 or the spooler's error.
    DWORD StoreValue(std::wstring valueName, DWORD type, std::span<const char> bytes);
    bool HasValue(std::wstring valueName) const;
    /// std::nullopt if there is none.
    std::optional<CStoredValue> LoadValue(std::wstring valueName) const;
    /// Returns 0 or the spooler's error.
    DWORD RemoveValue(std::wstring valueName);
    /// The values that the monitor published last.
    CPublishedValues PublishedValues() const;

    /// Bytes that the lower port has carried so far, in either direction.
    uint64_t MovedBytes() const { return m_proxy.MovedBytes(); }

private:
    friend class CDocument;

    class CChannel;

    const MONITOR2& Table() const { return m_library->Table(); }
    CQueryResult Ask(std::wstring& requestText) const;
    CQueryResult Act(std::wstring& requestText) const;
    CQueryResult WithDeviceError(CQueryResult result) const;

    PortKind m_kind;
    std::shared_ptr<const CMonitorLibrary> m_library; ///< never null
    std::unique_ptr<CTrace> m_trace;                  ///< null if none is written
    const std::wstring m_portName;
    sim::CPortMonitor m_portMonitor;
    CPortMonitorProxy m_proxy;
    CSpoolerPrinter m_printer;
    HANDLE m_port = nullptr;
    sim::IPortDevice* m_device = nullptr; ///< of m_portMonitor; null if the monitor has not opened the port
};

/// The exit status after a device's failure.
ExitStatus FailureStatus(const sim::PortFailure& failure);

/// A job in the queue with its document open on the port.
class CDocument {
public:
    /// Submits the job and starts its document. Throws CHostError: Busy if the port has a document open,
    /// NoDevice if it does not start.
    CDocument(CSpoolerSession& session, const std::wstring& name);
    /// Ends the document if it is still open, and removes the job from the queue.
    ~CDocument();
    CDocument(const CDocument&) = delete;
    CDocument& operator=(const CDocument&) = delete;

    /// Offers bytes to the monitor. Returns how many of them it took. Throws CHostError if it refuses them.
    DWORD Write(std::span<char> bytes);
    /// Deletes the job from the queue as a user would; the monitor cancels it when the document ends. Any
    /// thread.
    void DeleteJob();
    /// Returns when the printer has finished. False if the port cannot end the document.
    bool End();

private:
    CSpoolerSession& m_session;
    DWORD m_jobId;
    bool m_open = false;
};

} // namespace zrtmon::host
