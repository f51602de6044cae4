#include "service/service.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "host/exit_status.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/wipe.h"
#include "service/job_end.h"
#include "service/messages.h"

namespace zrtmon::service {
namespace {

constexpr int64_t kSecondsOfDay = 86400;
constexpr DWORD kDayMs = 86400000;
constexpr DWORD kMetricsMs = 1000;   // the file is written at most so often
constexpr size_t kLongestText = 255; // bytes of a title, an owner, a uuid
constexpr size_t kLargestValue = 1 << 20;
constexpr char kPolicyValue[] = "ConfigurationFile";
constexpr char kStopReason[] = "the service was stopped";
constexpr char kRemovedReason[] = "the printer was removed from the configuration";

void Check(Right right, const CCaller& caller, const std::string& jobOwner = {})
{
    if (!IsAllowed(right, caller.user, jobOwner)) {
        throw CServiceError(ErrorName::AccessDenied,
                            caller.user.name + " may not do that; " + AllowedUsers(right) + " may");
    }
}

/// The monitor would read it with the service's rights.
void CheckPolicy(const std::filesystem::path& folder, const CStoredValue& value)
{
    std::wstring text(value.bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(wchar_t));
    const std::string path = host::Utf8FromWide(text.substr(0, text.find(L'\0')));
    std::string problem;
    const std::string whole = PolicyPath(folder, path, &problem);
    if (problem.empty() && whole != path) {
        problem = "policy: give the whole path without links, " + whole;
    }
    if (!problem.empty()) {
        throw CServiceError(ErrorName::BadData, problem);
    }
}

void CheckText(const char* what, const std::string& text)
{
    if (text.size() > kLongestText) {
        throw CServiceError(ErrorName::BadData, std::string(what) + ": longer than 255 bytes");
    }
}

/// Wipes the bytes, unless they were moved away.
struct CWipedAtEnd {
    std::string& bytes;
    ~CWipedAtEnd() { Wipe(bytes); }
};

ErrorName NameOf(CRefusal::Kind kind)
{
    constexpr ErrorName kNames[] = {ErrorName::Running, ErrorName::Interrupted, ErrorName::Printed};
    return kNames[static_cast<size_t>(kind)];
}

} // namespace

CService::CService(const CServiceOptions& options, CMainLoop& loop, const host::CHostEnvironment& environment,
                   IServiceEvents& events)
    : m_options(options), m_loop(loop), m_environment(environment), m_events(events),
      m_library(std::make_shared<host::CMonitorLibrary>(host::PathFromUtf8(options.library), environment)),
      m_storage(options.stateFolder / "zrtmond.db"), m_changes([this] {
          if (!m_hasNews.exchange(true)) {
              m_loop.Post([this] { UpdatePrinters(); });
          }
      })
{
    CloseUnfinishedJobs();
    m_loop.After(0, [this] { ForgetOldJobs(); }); // when the configuration says for how long they are kept
}

CService::~CService() = default;

/// Nobody prints them any more.
void CService::CloseUnfinishedJobs()
{
    m_storage.Run([this] {
        CJournal& journal = m_storage.Journal();
        for (const CJobEntry& entry : journal.Unfinished()) {
            const bool hasStarted = entry.started != 0;
            journal.End(entry.id, JobOutcome::Interrupted,
                        hasStarted ? "the service ended while it printed"
                                   : "the service ended before its first byte",
                        std::time(nullptr), hasStarted);
        }
    });
}

void CService::ForgetOldJobs()
{
    m_storage.Post([this, days = m_configuration.keepDays] {
        m_storage.Journal().Forget(std::time(nullptr) - days * kSecondsOfDay);
    });
    m_loop.After(kDayMs, [this] { ForgetOldJobs(); });
}

// ---------------------------------------------------------------------------------------------
// Configuration

void CService::Load()
{
    m_configuration = LoadConfiguration(m_options.configurationFolder, m_configuration);
    for (const std::string& problem : m_configuration.problems) {
        Report(Severity::Error, {}, problem);
    }
    if (!m_isStopping) {
        ApplyConfiguration();
    }
    PlanMetrics();
}

void CService::ApplyConfiguration()
{
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        const auto isSame = [&](const auto& configured) { return configured.name == printer->Name(); };
        const auto& configured = m_configuration.printers;
        const auto found = std::find_if(configured.begin(), configured.end(), isSame);
        const bool isDoubtful = m_configuration.doubtfulPrinters.count(printer->Name()) != 0;
        if (found == configured.end() && !isDoubtful) {
            RemovePrinter(*printer);
        } else if (found != configured.end() && FindPrinter(printer->Name())) {
            printer->Configure(*found);
        }
    }
    for (const CPrinterConfiguration& configuration : m_configuration.printers) {
        const bool exists = std::any_of(m_printers.begin(), m_printers.end(), [&](const auto& printer) {
            return host::EqualsIgnoringCase(printer->Name(), configuration.name);
        });
        if (!exists) { // a removed one of that name ends first
            AddPrinter(configuration);
        }
    }
}

void CService::AddPrinter(const CPrinterConfiguration& configuration)
{
    const CPrinterContext context{m_loop, m_storage, m_metrics, m_changes, m_environment, m_library};
    IPrinterEvents& events = *this; // private to everybody else
    m_printers.push_back(std::make_unique<CPrinter>(configuration, context, events));
    m_events.OnPrinterAdded(*m_printers.back());
}

void CService::RemovePrinter(CPrinter& printer)
{
    if (std::find(m_removed.begin(), m_removed.end(), &printer) == m_removed.end()) {
        m_removed.push_back(&printer);
        printer.Stop(kRemovedReason);
    }
}

void CService::DestroyRemoved()
{
    const auto isGone = [this](const std::unique_ptr<CPrinter>& printer) {
        const bool isRemoved = std::erase(m_removed, printer.get()) != 0;
        if (isRemoved && !printer->IsIdle()) {
            m_removed.push_back(printer.get());
            return false;
        }
        if (isRemoved) {
            m_metrics.RemovePrinter(printer->Name());
            m_events.OnPrinterRemoved(*printer);
            Report(Severity::Info, {printer->Name()}, "removed");
        }
        return isRemoved;
    };
    if (std::erase_if(m_printers, isGone) != 0 && !m_isStopping) {
        ApplyConfiguration();
    }
}

void CService::Stop()
{
    if (m_isStopping) {
        return;
    }
    m_isStopping = true;
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        printer->Stop(kStopReason);
    }
    m_loop.After(kStopMs, [this] {
        for (const std::unique_ptr<CPrinter>& printer : m_printers) {
            printer->CancelRunning();
        }
    });
    m_loop.After(kLongestStopMs, [this] {
        Report(Severity::Error, {}, "stops although not everything has ended");
        m_loop.Stop();
    });
    EndIfIdle();
}

void CService::EndIfIdle()
{
    const bool isIdle = std::all_of(m_printers.begin(), m_printers.end(),
                                    [](const auto& printer) { return printer->IsIdle(); });
    if (m_isStopping && isIdle && m_journalCalls == 0) {
        m_loop.Stop();
    }
}

void CService::FinishJournalCall(const std::function<void()>& reply)
{
    --m_journalCalls;
    reply();
    EndIfIdle();
}

// ---------------------------------------------------------------------------------------------
// What callers ask for

CPrinter* CService::FindPrinter(const std::string& name)
{
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        const bool isRemoved =
            std::find(m_removed.begin(), m_removed.end(), printer.get()) != m_removed.end();
        if (printer->Name() == name && !isRemoved) {
            return printer.get();
        }
    }
    return nullptr;
}

CPrinter& CService::PrinterOrThrow(const std::string& name)
{
    CPrinter* const printer = FindPrinter(name);
    if (!printer) {
        throw CServiceError(ErrorName::NoSuchPrinter, name + ": no such printer, or it is being removed");
    }
    return *printer;
}

void CService::CheckRunning() const
{
    if (m_isStopping) {
        throw CServiceError(ErrorName::Stopping, "the service is stopping; try again when it has started");
    }
}

std::vector<const CPrinter*> CService::Printers() const
{
    std::vector<const CPrinter*> printers;
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        printers.push_back(printer.get());
    }
    return printers;
}

void CService::ListJobs(const CCaller& caller, int64_t since, const CEntriesReplyTo& replyTo)
{
    Check(Right::SeeOwnJobs, caller);
    const std::string user = IsAllowed(Right::SeeAllJobs, caller.user) ? "" : caller.user.name;
    ++m_journalCalls;
    m_storage.Post([this, since, user, replyTo] {
        std::vector<CJobEntry> entries;
        std::optional<CServiceError> error;
        try {
            entries = m_storage.Journal().Jobs(since, user);
        } catch (const CDatabaseError& problem) {
            error = CServiceError(ErrorName::PrinterError, problem.what());
        }
        m_loop.Post([this, entries = std::move(entries), error, replyTo] {
            FinishJournalCall([&] { replyTo(entries, error); });
        });
    });
}

void CService::Request(const CCaller& caller, const std::string& printer, RequestKind kind, std::string text,
                       const CReplyTo& replyTo)
{
    Check(kind == RequestKind::Query ? Right::Query : Right::Perform, caller);
    CheckRunning();
    CPrinter& target = PrinterOrThrow(printer);
    CheckRequest(kind, text);
    target.Query(std::move(text), caller.client, [this, replyTo](const CReply& reply) {
        replyTo(reply);
        PlanMetrics();
    });
}

void CService::Print(const CCaller& caller, const CPrintRequest& request, CDescriptor data,
                     const CJobReplyTo& replyTo)
{
    Check(Right::Print, caller);
    const std::string owner = request.owner.value_or(caller.user.name);
    if (owner != caller.user.name) {
        Check(Right::NameOwner, caller);
    }
    CheckRunning();
    PrinterOrThrow(request.printer).CheckAcceptsJob();
    CheckText("title", request.title);
    CheckText("owner", owner);
    CheckText("uuid", request.uuid);
    const auto job = std::make_shared<CJob>();
    job->control = std::make_unique<CJobControl>();
    try {
        job->data = std::make_unique<CJobData>(std::move(data), job->control->StopDescriptor());
    } catch (const CJobDataError& error) {
        throw CServiceError(error.IsTooLarge() ? ErrorName::TooLarge : ErrorName::BadData, error.what());
    }
    job->job = {request.printer,  request.title, owner,
                caller.user.name, request.uuid,  job->data->TotalBytes()};
    ++m_journalCalls;
    m_storage.Post([this, job, replyTo] {
        std::optional<CAdmission> admission;
        std::string problem;
        try {
            admission = m_storage.Journal().Admit(job->job, std::time(nullptr));
        } catch (const CDatabaseError& error) {
            problem = error.what();
        }
        m_loop.Post([this, job, replyTo, admission, problem] {
            FinishJournalCall([&] {
                if (admission) {
                    FinishAdmission(job, *admission, replyTo);
                } else {
                    replyTo(0, CServiceError(ErrorName::PrinterError,
                                             "the journal does not take the job: " + problem));
                }
            });
        });
    });
}

void CService::FinishAdmission(const std::shared_ptr<CJob>& job, const CAdmission& admission,
                               const CJobReplyTo& replyTo)
{
    if (const CRefusal* const refusal = std::get_if<CRefusal>(&admission)) {
        Report(Severity::Warning, {job->job.printer},
               "a job of " + job->job.owner + " is not printed: " + refusal->text);
        replyTo(0, CServiceError(NameOf(refusal->kind), refusal->text));
        return;
    }
    job->id = std::get<uint64_t>(admission);
    CPrinter* const printer = FindPrinter(job->job.printer);
    if (!printer || m_isStopping) {
        const char* const reason = printer ? kStopReason : kRemovedReason;
        const CServiceError error(printer ? ErrorName::Stopping : ErrorName::NoSuchPrinter, reason);
        ++m_journalCalls;
        EnterEnd(m_loop, m_storage, {job->id, JobOutcome::Interrupted, reason},
                 [this, replyTo, error] { FinishJournalCall([&] { replyTo(0, error); }); });
        return;
    }
    m_jobs[job->id] = job;
    Report(Severity::Info, {job->job.printer, job->id},
           "accepted from " + job->job.submitter +
               (job->job.owner == job->job.submitter ? "" : " for " + job->job.owner));
    m_events.OnJobAdded(*job);
    replyTo(job->id, std::nullopt);
    printer->Enqueue(job);
}

CStoredValue CService::ReadStored(const CCaller& caller, const std::string& printer,
                                  const std::string& valueName)
{
    Check(Right::UseStored, caller);
    CPrinter& target = PrinterOrThrow(printer);
    if (IsPasswordName(valueName)) {
        throw CServiceError(ErrorName::AccessDenied, "Password: is never given");
    }
    const std::optional<CStoredValue> value = target.ReadStored(valueName);
    if (!value) {
        throw CServiceError(ErrorName::NoSuchName, valueName + ": no such stored value");
    }
    return *value;
}

void CService::ChangeStored(const CCaller& caller, const std::string& printer, CStoredValue value,
                            CReplyTo replyTo)
{
    const CWipedAtEnd wiped{value.bytes}; // of a password, also when it is refused
    Check(Right::UseStored, caller);
    CheckRunning();
    CPrinter& target = PrinterOrThrow(printer);
    CheckText("the value's name", value.name);
    if (value.name.empty()) {
        throw CServiceError(ErrorName::BadData, "the value's name is empty");
    }
    if (value.bytes.size() > kLargestValue) {
        throw CServiceError(ErrorName::TooLarge, value.name + ": more than 1 MiB");
    }
    if (!value.isRemoved && host::EqualsIgnoringCase(value.name, kPolicyValue)) {
        CheckPolicy(m_options.configurationFolder, value);
    }
    if (value.isRemoved && !target.ReadStored(value.name)) {
        throw CServiceError(ErrorName::NoSuchName, value.name + ": no such stored value");
    }
    target.WriteStored(std::move(value), std::move(replyTo));
}

const CJob* CService::FindJob(uint64_t id) const
{
    const auto found = m_jobs.find(id);
    return found == m_jobs.end() ? nullptr : found->second.get();
}

std::shared_ptr<CJob> CService::JobOrThrow(uint64_t id) const
{
    const auto found = m_jobs.find(id);
    if (found == m_jobs.end()) {
        throw CServiceError(ErrorName::NoSuchName, "job " + std::to_string(id) + ": no such job");
    }
    return found->second;
}

void CService::CancelJob(const CCaller& caller, uint64_t id)
{
    const std::shared_ptr<CJob> job = JobOrThrow(id);
    Check(Right::ControlJob, caller, job->job.owner);
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        printer->Cancel(*job, "cancelled by " + caller.user.name);
    }
}

void CService::AcknowledgeJob(const CCaller& caller, uint64_t id, const CReplyTo& replyTo)
{
    const std::shared_ptr<CJob> job = JobOrThrow(id);
    Check(Right::ControlJob, caller, job->job.owner);
    ++m_journalCalls;
    m_storage.Post([this, id, replyTo] {
        CReply reply;
        try {
            m_storage.Journal().Acknowledge(id);
        } catch (const CDatabaseError& error) {
            reply.error = CServiceError(ErrorName::PrinterError, error.what());
        }
        m_loop.Post([this, reply, replyTo] { FinishJournalCall([&] { replyTo(reply); }); });
    });
}

void CService::SupplyPassword(const CCaller& caller, uint64_t id, std::string_view password)
{
    const std::shared_ptr<CJob> job = JobOrThrow(id);
    Check(Right::SupplyPassword, caller, job->job.owner);
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        if (printer->CurrentJob() == job.get()) {
            printer->SupplyPassword(*job, password);
            return;
        }
    }
    throw CServiceError(ErrorName::BadData, "the job does not wait for a password");
}

void CService::ForgetClient(const std::string& client)
{
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        printer->DropQueries(client);
    }
}

// ---------------------------------------------------------------------------------------------
// What happens

void CService::OnPrinterChanged(CPrinter& printer)
{
    m_events.OnPrinterChanged(printer);
    if (printer.CurrentJob()) {
        PlanTick();
    }
}

void CService::OnJobChanged(const CJob& job)
{
    m_events.OnJobChanged(job);
    PlanMetrics();
}

void CService::OnJobEnded(const CJob& job)
{
    m_events.OnJobEnded(job);
    PlanMetrics();
    m_loop.After(kEndedJobMs, [this, id = job.id] {
        m_events.OnJobRemoved(id);
        m_jobs.erase(id);
    });
}

void CService::OnPrinterIdle(CPrinter&)
{
    if (m_isStopping) {
        EndIfIdle();
    } else if (!m_removed.empty()) {
        m_loop.Post([this] { DestroyRemoved(); });
    }
}

void CService::PlanTick()
{
    if (!m_isTickPlanned) {
        m_isTickPlanned = true;
        m_loop.After(CPrinter::kTickMs, [this] { Tick(); });
    }
}

void CService::Tick()
{
    m_isTickPlanned = false;
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        if (printer->CurrentJob()) {
            printer->Update();
            PlanTick();
        }
    }
}

void CService::UpdatePrinters()
{
    m_hasNews = false;
    for (const std::unique_ptr<CPrinter>& printer : m_printers) {
        printer->Update();
    }
}

void CService::PlanMetrics()
{
    if (!m_configuration.metricsFile.empty() && !m_isMetricsPlanned) {
        m_isMetricsPlanned = true;
        m_loop.After(kMetricsMs, [this] { WriteMetrics(); });
    }
}

void CService::WriteMetrics()
{
    m_isMetricsPlanned = false;
    try {
        host::WriteWholeFile(m_configuration.metricsFile, m_metrics.Text());
        m_metricsProblem.clear();
    } catch (const host::CHostError& error) {
        if (m_metricsProblem != error.what()) { // once, not every second
            m_metricsProblem = error.what();
            Report(Severity::Warning, {}, "metrics: " + m_metricsProblem);
        }
    }
}

} // namespace zrtmon::service
