/// A printer as the commands use it, wherever it is: on a port of our own, in the system's spooler, or in the
/// print service.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "host/exit_status.h"
#include "host/printer/published_values.h"
#include "host/printing/job_source.h"
#include "host/session/query.h"
#include "platform/system_spooler.h"
#include "platform/win32.h"

namespace zrtmon::host {

/// The state of a printer.
struct CPrinterState {
    CPublishedValues values = {};
    /// What the queue itself reports: "paused"; empty if nothing, or if there is no queue.
    std::string queue = {};
    /// Id of the job of the queue that is being printed; 0: none, or there is no queue.
    uint64_t printingJob = 0;

    bool operator==(const CPrinterState&) const = default;
};

/// What became of a change to the printer's data.
struct CStoreResult {
    CStoreResult(DWORD storeError, std::string storeProblem = {})
        : error(storeError), problem(std::move(storeProblem))
    {
    }

    DWORD error;         ///< 0 or the spooler's: 5 the right to administer the printer is missing
    std::string problem; ///< why not, in words, if the printer's place knows more than the error
};

/// A printing job at one moment.
struct CJobView {
    uint64_t takenBytes = 0; ///< accepted by the monitor, or by a spooler that prints it later
    uint64_t totalBytes = 0;
    bool finishing = false;   ///< all data has been offered
    std::optional<int> cards; ///< printed since the job began, if that is known
    CPrinterState state;
};

/// How a job ended.
struct CJobOutcome {
    CPublishedValues values; ///< on a port of our own as the printer answers now, else as published
    std::optional<int> cards = {};
    ExitStatus status = ExitStatus::Done;
    std::string problem = {}; ///< one line for the user; empty if it was printed
};

/// A job that has been submitted. It prints meanwhile. Any thread.
class IPrintJob {
public:
    /// Deletes the job if it has not ended, and waits for its end.
    virtual ~IPrintJob() = default;

    /// Returns true as soon as the job has ended, false after the time.
    virtual bool WaitForEnd(DWORD milliseconds) = 0;
    /// Throws CHostError (NoDevice) if the place is lost.
    virtual CJobView View() = 0;
    /// As a user deletes it from the queue; it ends soon afterwards, cancelled at the printer.
    virtual void Delete() = 0;
    /// Once, after the end. Throws CHostError if the device, the job's source or the place failed.
    virtual CJobOutcome Outcome() = 0;
};

/// Any thread. Calls may wait for the printer; those that reach for a spooler or service throw CHostError
/// (NoDevice) if it is lost.
class IPrinter {
public:
    virtual ~IPrinter() = default;

    /// The name under which the monitor knows the printer, UTF-8.
    virtual std::string Name() const = 0;
    /// Where it is, for messages: its port, or its name in quotes.
    virtual std::string Place() const = 0;
    /// Whether other programs reach it, too: they may answer what its jobs wait for.
    virtual bool IsShared() const { return true; }
    /// Whether there is a printer that can reply; a file captures the bytes and never replies.
    virtual bool HasDevice() const = 0;

    /// Queries the printer, or makes it act, by a value name and its parameters, UTF-8. An action is never
    /// sent twice.
    virtual CQueryResult Query(const std::string& requestText) = 0;
    /// Makes the printer perform an action whose parameters are passwords, 8-bit text each. Every copy made
    /// of them is wiped.
    virtual CQueryResult SendPasswords(const std::string& name,
                                       std::initializer_list<std::string_view> passwords) = 0;
    /// Why a query failed with that last error; see QueryProblem.
    virtual std::string QueryErrorText(DWORD error) const = 0;

    /// What the monitor has published; the printer is not asked.
    virtual CPublishedValues PublishedValues() = 0;
    /// The state as it is now. Throws CHostError if it cannot be told.
    virtual CPrinterState ReadState() = 0;
    /// Waits until the state may have changed, or for the time. True if something has changed.
    virtual bool WaitForChange(DWORD milliseconds) = 0;

    virtual bool HasValue(const std::wstring& valueName) = 0;
    /// A value of the printer's data as it is stored; the printer is not asked.
    virtual std::optional<CStoredValue> LoadValue(const std::wstring& valueName) = 0;
    virtual CStoreResult StoreValue(const std::wstring& valueName, DWORD type,
                                    std::span<const char> bytes) = 0;
    /// Error 2 if there is no such value.
    virtual CStoreResult RemoveValue(const std::wstring& valueName) = 0;

    /// Submits a job. pieceBytes: offered in one call. The source is borrowed for the job's life. Throws
    /// CHostError: Busy if the port has a document open, NoDevice if it does not start, NoPermission.
    virtual std::unique_ptr<IPrintJob> Print(CJobSource& source, uint32_t pieceBytes) = 0;
};

/// The answer to a query. Throws CHostError if there is none, and Busy for one that came too fast to be the
/// printer's.
std::string QueryOrThrow(IPrinter& printer, const std::string& requestText);

/// The same for an answer that must be the printer's own: what a spooler has stored under that name is
/// removed first, where that is allowed, so that it cannot answer with it.
std::string QueryAfreshOrThrow(IPrinter& printer, const std::string& requestText);

CQueriedNumber QueryNumber(IPrinter& printer, const std::string& requestText);

/// The exit status after a query that failed with that last error.
ExitStatus QueryStatus(DWORD error);
/// Why a query failed, for a message.
std::string QueryProblem(const IPrinter& printer, const CQueryResult& result);
std::string QueryProblem(const IPrinter& printer, const CQueriedNumber& number);

/// Why a change of the printer's data failed, for a message.
std::string StoreProblem(const CStoreResult& result);

} // namespace zrtmon::host
