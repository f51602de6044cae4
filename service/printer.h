/// One configured printer: its port through the monitor's library, its queue, its queries.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/environment.h"
#include "host/session/spooler_session.h"
#include "service/configuration.h"
#include "service/job.h"
#include "service/job_run.h"
#include "service/main_loop.h"
#include "service/metrics.h"
#include "service/requests.h"
#include "service/storage.h"
#include "service/value_changes.h"
#include "service/worker.h"

namespace zrtmon::service {

/// What a printer shares with the others; borrowed for its life.
struct CPrinterContext {
    CMainLoop& loop;
    CStorage& storage;
    CMetrics& metrics;
    CValueChanges& changes;
    const host::CHostEnvironment& environment;
    std::shared_ptr<const host::CMonitorLibrary> library; ///< loaded once, for all of them
};

enum class PrinterState { Idle, Printing, Held, Failed };

/// "idle", "printing", ...
const char* StateText(PrinterState state);

struct CPrinterStatus {
    PrinterState state = PrinterState::Idle;
    std::string message; ///< why it is held or failed
    int printerStatus = -1;
    int printerError = 1;
    int deviceError = 0;
    int cardCount = -1;

    bool operator==(const CPrinterStatus&) const = default;
};

class CPrinter;

/// Is told on the main thread.
class IPrinterEvents {
public:
    virtual ~IPrinterEvents() = default;
    virtual void OnPrinterChanged(CPrinter& printer) = 0;
    virtual void OnJobChanged(const CJob& job) = 0;
    /// The job's status is that of its end.
    virtual void OnJobEnded(const CJob& job) = 0;
    /// Nothing runs or waits any more. The printer may be destroyed from the next task of the loop on.
    virtual void OnPrinterIdle(CPrinter& printer) = 0;
};

/// The answer to a query, or why there is none.
struct CReply {
    std::string text;
    std::optional<CServiceError> error;
};
using CReplyTo = std::function<void(const CReply&)>;

/// Main thread. Jobs run on one thread of the printer and queries on another, one at a time each.
class CPrinter {
public:
    /// Opens the port; one that does not open is reported, and tried again with the next request.
    CPrinter(const CPrinterConfiguration& configuration, const CPrinterContext& context,
             IPrinterEvents& events);
    /// What still runs is cancelled and waited for.
    ~CPrinter();
    CPrinter(const CPrinter&) = delete;
    CPrinter& operator=(const CPrinter&) = delete;

    const std::string& Name() const { return m_configuration.name; }
    const CPrinterConfiguration& Configuration() const { return m_configuration; }
    const CPrinterStatus& Status() const { return m_status; }
    const CJob* CurrentJob() const { return m_current.get(); }
    bool IsIdle() const;

    /// Another port or policy, from when no job prints and no query runs. The same as before is left alone.
    void Configure(const CPrinterConfiguration& configuration);
    /// Ends waiting jobs and refuses queries; what runs goes on. For a printer that is removed, and for the
    /// end of the service.
    void Stop(const std::string& reason);
    /// Cancels what still prints, for the same reason.
    void CancelRunning();

    /// The reply comes on the main thread. client: the bus's name of who asks. Throws CServiceError if the
    /// query is not taken.
    void Query(std::string text, const std::string& client, CReplyTo replyTo);
    /// A client has left: its queries that wait are dropped.
    void DropQueries(const std::string& client);

    /// Throws CServiceError if the printer takes no more jobs.
    void CheckAcceptsJob() const;
    void Enqueue(std::shared_ptr<CJob> job);
    /// A job that waits ends at once, one that prints when it has been cancelled at the printer.
    void Cancel(const CJob& job, const std::string& reason);
    /// Throws CServiceError if the job does not wait for one.
    void SupplyPassword(const CJob& job, std::string_view password);

    /// A value of the printer's data; std::nullopt if it has none.
    std::optional<CStoredValue> ReadStored(const std::string& valueName) const;
    /// done is called on the main thread when the value is on disk.
    void WriteStored(CStoredValue value, CReplyTo replyTo);

    /// The monitor may have published something, or time has passed. To be called every kTickMs while a job
    /// prints.
    void Update();
    static constexpr DWORD kTickMs = 100;

private:
    struct CWaitingQuery {
        std::string text;
        std::string client;
        CReplyTo replyTo;
        DWORD startTick;
    };

    void Open();
    void Close();
    void LoadValues(host::CSpoolerSession& session);
    void SaveValues();
    void Recover();
    void FinishRecovery(std::optional<std::string> problem, int cardCount);
    void PlanRetry();
    void Retry();
    void Continue();
    void StartQuery();
    void RefuseQueries(const CServiceError& error);
    void FinishQuery(CWaitingQuery& query, const CReply& reply);
    void StartJob();
    void FinishJob(const CJobResult& result);
    void EndJob(const std::shared_ptr<CJob>& job, JobOutcome outcome, const std::string& reason, int cards);
    CJobStatus CurrentStatus();
    bool WantsPassword(const host::CPublishedValues& values);
    void UpdateJob();
    void NoteHold(const CJobStatus& before);
    void NoteProgress();
    CPrinterStatus MakeStatus() const;
    void SetStatus(const CPrinterStatus& status);

    CPrinterConfiguration m_configuration;
    CPrinterContext m_context;
    IPrinterEvents& m_events;
    CPrinterStatus m_status;
    std::unique_ptr<host::CSpoolerSession> m_session; ///< null if the port does not open
    std::string m_openProblem;
    std::optional<CPrinterConfiguration> m_nextConfiguration;
    std::string m_stopReason; ///< empty until Stop

    std::deque<std::shared_ptr<CJob>> m_waiting;
    std::shared_ptr<CJob> m_current;
    std::deque<CWaitingQuery> m_queries;
    bool m_isQueryRunning = false;
    bool m_isRecovering = false; ///< a cancel is due before anything else
    bool m_isCancelling = false; ///< for that, just now
    bool m_isRetryPlanned = false;
    unsigned m_writes = 0;        ///< of stored values, not yet answered
    unsigned m_endings = 0;       ///< of jobs, not yet in the journal
    unsigned m_passwordTicks = 0; ///< in a row that found a password wanted
    DWORD m_progressTick = 0;     ///< when the journal was last told
    int m_progressCards = 0;

    std::shared_ptr<void> m_life = std::make_shared<char>(); ///< expires with the printer, for timers

    CWorker m_jobWorker; ///< these two last: they use the others
    CWorker m_queryWorker;
};

} // namespace zrtmon::service
