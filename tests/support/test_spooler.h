/// A print spooler for tests: queues above the language monitor, each with a simulated printer on its port.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/system_spooler.h"
#include "simulator/card_printer.h"

namespace zrtmon::test {

/// What a queue's printer is and how the spooler treats it.
struct CTestQueueOptions {
    /// What a client's question gives when the monitor refuses it.
    enum class Refused { StoredValue, MonitorError };
    /// What the library's own GetPrinterDataW gives: what is stored; or what the printer says, asked through
    /// the same port on another thread, and what is stored only if that is refused.
    enum class LibraryReads { Stored, LivePrinter };

    std::wstring name = L"Card Printer";
    std::string port = "sim:"; ///< as sim::CPortMonitor names its ports; no two are equal
    std::wstring monitor =
        L"ZRT Card Printer Monitor"; ///< that the driver names; none of that name: bypassed
    bool isBidirectional = true;     ///< if not, the monitor is bypassed, too
    bool mayAdminister = true;       ///< whether clients have the right
    bool tellsChanges = true;        ///< whether WaitForChange works
    Refused refused = Refused::StoredValue;
    LibraryReads libraryReads = LibraryReads::Stored;
    DWORD printedJobStaysMs = 500; ///< in the queue after it has been printed
};

/// The spooler. Jobs of a queue are printed one after the other by a thread of its own once their documents
/// have ended. Printers and their data are those of platform/spooler_admin.h, so that the monitor sees the
/// same ones.
///
/// Functions that name a printer throw std::out_of_range if there is none of that name.
///
/// On the virtual clock the thread that makes it takes part. Functions may be called from any thread.
class CTestSpooler final : public ISystemSpooler {
public:
    /// The monitor's entry points and its handle, borrowed; its print services must be those of this process.
    CTestSpooler(const MONITOR2& monitor, HANDLE monitorHandle);
    /// Ends the jobs that are being printed. No call may be under way; queues that are open outlive the
    /// spooler and then return error 6.
    ~CTestSpooler() override;
    CTestSpooler(const CTestSpooler&) = delete;
    CTestSpooler& operator=(const CTestSpooler&) = delete;

    /// A printer is installed. Throws std::runtime_error if its port does not open.
    void Add(const CTestQueueOptions& options);
    /// A printer is removed: what is open of it returns 6 from now on.
    void Remove(const std::wstring& printerName);
    /// While the spooler does not run, every call returns 1722, and no job begins to be printed.
    void SetRunning(bool isRunning);
    /// While a queue is paused, no job begins to be printed.
    void SetPaused(const std::wstring& printerName, bool isPaused);
    /// The printer of a queue, borrowed until it is removed.
    sim::CCardPrinter& Printer(const std::wstring& printerName);

    DWORD ListQueues(std::vector<CQueueEntry>* queues) override;
    DWORD Open(const std::wstring& printerName, DWORD access, std::unique_ptr<ISpoolerQueue>* queue) override;

private:
    class CQueue;
    class COpenQueue;
    struct State;

    std::shared_ptr<CQueue> Find(const std::wstring& printerName) const; ///< null if there is none
    std::shared_ptr<CQueue> Known(const std::wstring& printerName) const;

    std::shared_ptr<State> m_state;
};

} // namespace zrtmon::test
