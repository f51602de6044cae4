/// The service without its bus: printers, jobs, rights.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/access.h"
#include "service/configuration.h"
#include "service/printer.h"

namespace zrtmon::service {

struct CServiceOptions {
    std::filesystem::path configurationFolder;
    std::filesystem::path stateFolder; ///< where the database is
    std::string library;               ///< path of the monitor's library; empty: it is searched for
};

/// Who calls.
struct CCaller {
    CUser user;
    std::string client; ///< the bus's name of the connection
};

/// What clients are told. On the main thread.
class IServiceEvents {
public:
    virtual ~IServiceEvents() = default;
    virtual void OnPrinterAdded(const CPrinter& printer) = 0;
    virtual void OnPrinterRemoved(const CPrinter& printer) = 0;
    virtual void OnPrinterChanged(const CPrinter& printer) = 0;
    virtual void OnJobAdded(const CJob& job) = 0;
    virtual void OnJobChanged(const CJob& job) = 0;
    virtual void OnJobEnded(const CJob& job) = 0;
    /// Some time after its end.
    virtual void OnJobRemoved(uint64_t id) = 0;
};

struct CPrintRequest {
    std::string printer;
    std::string title;
    std::optional<std::string> owner; ///< absent: the caller
    std::string uuid;                 ///< empty: none
};

/// The job's id, or why there is none.
using CJobReplyTo = std::function<void(uint64_t id, const std::optional<CServiceError>& error)>;
using CEntriesReplyTo =
    std::function<void(const std::vector<CJobEntry>& entries, const std::optional<CServiceError>&)>;

/// Main thread. What a caller asks for throws CServiceError if it is refused at once, AccessDenied included;
/// replies come on the main thread.
class CService final : private IPrinterEvents {
public:
    /// Ended jobs are known for so long, so that a client that comes late sees the outcome.
    static constexpr DWORD kEndedJobMs = 60000;
    /// On Stop jobs go on for so long.
    static constexpr DWORD kStopMs = 60000;
    /// Then the service ends, whatever is left: a journal that cannot be written must not keep it.
    static constexpr DWORD kLongestStopMs = 90000;

    /// The arguments are borrowed. Throws CDatabaseError, or CHostError for a library that does not load.
    /// Jobs that an earlier run has not finished become "interrupted".
    CService(const CServiceOptions& options, CMainLoop& loop, const host::CHostEnvironment& environment,
             IServiceEvents& events);
    ~CService() override;
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;

    /// Reads the configuration and opens, changes and removes printers accordingly.
    void Load();
    /// Takes nothing new, and ends the loop when the running jobs have ended, or kStopMs later have been
    /// cancelled.
    void Stop();
    bool IsStopping() const { return m_isStopping; }

    std::vector<const CPrinter*> Printers() const;
    void ListJobs(const CCaller& caller, int64_t since, const CEntriesReplyTo& replyTo);

    void Request(const CCaller& caller, const std::string& printer, RequestKind kind, std::string text,
                 const CReplyTo& replyTo);
    void Print(const CCaller& caller, const CPrintRequest& request, CDescriptor data,
               const CJobReplyTo& replyTo);
    CStoredValue ReadStored(const CCaller& caller, const std::string& printer, const std::string& valueName);
    /// Stores or removes it.
    void ChangeStored(const CCaller& caller, const std::string& printer, CStoredValue value,
                      CReplyTo replyTo);

    /// Null if it is not known, or known no more. Borrowed until OnJobRemoved.
    const CJob* FindJob(uint64_t id) const;
    void CancelJob(const CCaller& caller, uint64_t id);
    void AcknowledgeJob(const CCaller& caller, uint64_t id, const CReplyTo& replyTo);
    void SupplyPassword(const CCaller& caller, uint64_t id, std::string_view password);

    /// A connection has gone.
    void ForgetClient(const std::string& client);

private:
    void OnPrinterChanged(CPrinter& printer) override;
    void OnJobChanged(const CJob& job) override;
    void OnJobEnded(const CJob& job) override;
    void OnPrinterIdle(CPrinter& printer) override;

    void CloseUnfinishedJobs();
    void ForgetOldJobs();
    void ApplyConfiguration();
    void AddPrinter(const CPrinterConfiguration& configuration);
    void RemovePrinter(CPrinter& printer);
    void DestroyRemoved();
    void FinishAdmission(const std::shared_ptr<CJob>& job, const CAdmission& admission,
                         const CJobReplyTo& replyTo);
    CPrinter& PrinterOrThrow(const std::string& name);
    CPrinter* FindPrinter(const std::string& name);
    std::shared_ptr<CJob> JobOrThrow(uint64_t id) const;
    void CheckRunning() const;
    void PlanTick();
    void Tick();
    void UpdatePrinters();
    void PlanMetrics();
    void WriteMetrics();
    void EndIfIdle();
    void FinishJournalCall(const std::function<void()>& reply);

    CServiceOptions m_options;
    CMainLoop& m_loop;
    const host::CHostEnvironment& m_environment;
    IServiceEvents& m_events;
    std::shared_ptr<const host::CMonitorLibrary> m_library;
    CConfiguration m_configuration;
    CMetrics m_metrics;
    CStorage m_storage;
    std::atomic<bool> m_hasNews{false}; ///< the observer has asked for an update
    CValueChanges m_changes;
    std::map<uint64_t, std::shared_ptr<CJob>> m_jobs;
    std::vector<std::unique_ptr<CPrinter>> m_printers;
    std::vector<const CPrinter*> m_removed; ///< of them; destroyed when they are idle
    unsigned m_journalCalls = 0;            ///< not yet answered
    bool m_isStopping = false;
    bool m_isTickPlanned = false;
    bool m_isMetricsPlanned = false;
    std::string m_metricsProblem; ///< reported last; empty: none
};

} // namespace zrtmon::service
