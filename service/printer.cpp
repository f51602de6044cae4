#include "service/printer.h"

#include <algorithm>
#include <ctime>

#include "host/exit_status.h"
#include "host/passwords/password_reader.h"
#include "host/printer/status_words.h"
#include "host/printing/progress.h"
#include "host/session/query.h"
#include "host/text/text.h"
#include "platform/spooler_admin.h"
#include "platform/wipe.h"
#include "service/job_end.h"
#include "service/messages.h"

namespace zrtmon::service {
namespace {

constexpr size_t kMostQueries = 200; // that wait at one printer
constexpr size_t kMostJobs = 1000;
constexpr DWORD kProgressMs = 1000;
constexpr DWORD kRetryMs = 5000;
// The monitor removes a password that it has presented, and publishes right afterwards that none is needed.
// In between the printer seems to need another.
constexpr unsigned kSettledTicks = 3;
constexpr wchar_t kPasswordValue[] = L"Password";
constexpr wchar_t kPolicyValue[] = L"ConfigurationFile";

std::string WideBytes(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t)};
}

JobState StateOf(JobOutcome outcome)
{
    constexpr JobState kStates[] = {JobState::Completed, JobState::Cancelled, JobState::Failed,
                                    JobState::Interrupted};
    return kStates[static_cast<size_t>(outcome)];
}

CReply ReplyOf(const std::function<std::string()>& work)
{
    try {
        return {work(), std::nullopt};
    } catch (const CServiceError& error) {
        return {{}, error};
    } catch (const std::exception& error) {
        return {{}, CServiceError(ErrorName::PrinterError, error.what())};
    }
}

} // namespace

const char* StateText(JobState state)
{
    constexpr const char* kTexts[] = {"waiting",   "printing",  "held",   "finishing",
                                      "completed", "cancelled", "failed", "interrupted"};
    return kTexts[static_cast<size_t>(state)];
}

const char* StateText(PrinterState state)
{
    constexpr const char* kTexts[] = {"idle", "printing", "held", "failed"};
    return kTexts[static_cast<size_t>(state)];
}

CPrinter::CPrinter(const CPrinterConfiguration& configuration, const CPrinterContext& context,
                   IPrinterEvents& events)
    : m_configuration(configuration), m_context(context), m_events(events)
{
    m_context.metrics.AddPrinter(Name());
    Open();
}

/// The workers end before the session that they use: they are the last members.
CPrinter::~CPrinter()
{
    SaveValues();
    if (m_current) {
        m_current->control->Cancel("the service has failed");
    }
}

// ---------------------------------------------------------------------------------------------
// The port

/// All or nothing: a printer without its values would print without its policy.
void CPrinter::Open()
{
    try {
        auto session = std::make_unique<host::CSpoolerSession>(
            host::CSessionOptions{m_configuration.port, Name(), {}, {}}, m_context.environment,
            m_context.library);
        LoadValues(*session);
        m_isRecovering =
            m_context.storage.Run([this] { return m_context.storage.Journal().IsCancelDue(Name()); });
        m_session = std::move(session);
        m_openProblem.clear();
        Report(Severity::Info, {Name()}, "port " + host::PrintableInput(m_configuration.port) + " is open");
    } catch (const std::exception& error) {
        m_openProblem = error.what();
        Report(Severity::Error, {Name()}, m_openProblem);
    }
    if (m_isRecovering) {
        Recover();
    }
    Update();
}

void CPrinter::Close()
{
    SaveValues();
    m_session.reset();
}

void CPrinter::LoadValues(host::CSpoolerSession& session)
{
    const std::wstring& printer = session.PrinterName();
    for (const CStoredValue& value :
         m_context.storage.Run([this] { return m_context.storage.Values().Load(Name()); })) {
        spooler::StoreValue(printer, host::WideFromUtf8(value.name), value.type, value.bytes);
    }
    if (!m_configuration.policy.empty()) {
        spooler::StoreValue(printer, kPolicyValue, REG_SZ,
                            WideBytes(host::WideFromUtf8(m_configuration.policy)));
    }
}

/// What the monitor has published since the last time.
void CPrinter::SaveValues()
{
    std::vector<CStoredValue> values = m_context.changes.Take(host::WideFromUtf8(Name()));
    if (!values.empty()) {
        m_context.storage.Post([&storage = m_context.storage, name = Name(), values = std::move(values)] {
            storage.Values().Save(name, values);
        });
    }
}

/// Cancels at the printer what an earlier run of the service has left there, before anything else is sent: it
/// may be in the middle of a packet.
void CPrinter::Recover()
{
    m_isCancelling = true;
    m_jobWorker.Post([this] {
        std::optional<std::string> problem;
        int cardCount = -1;
        if (m_session->HasDevice()) {
            const host::CQueryResult result = m_session->CancelAtOnce();
            problem = result.answered ? std::nullopt : std::optional(m_session->QueryErrorText(result.error));
            cardCount = problem ? -1 : host::NumberOf(m_session->Query("CardCount")).value.value_or(-1);
        }
        m_context.loop.Post([this, problem, cardCount] { FinishRecovery(problem, cardCount); });
    });
}

void CPrinter::FinishRecovery(std::optional<std::string> problem, int cardCount)
{
    m_isCancelling = false;
    if (problem) {
        m_openProblem = "an interrupted job has to be cancelled at the printer first: " + *problem;
        Report(Severity::Warning, {Name()}, m_openProblem);
        RefuseQueries(CServiceError(ErrorName::NoDevice, m_openProblem));
        Update();
        Continue();
        return;
    }
    m_context.storage.Post([&storage = m_context.storage, name = Name(), cardCount] {
        for (const CJobEntry& entry : storage.Journal().CancelDone(name)) {
            // A printer that was replaced or reset counts anew.
            const int counted = cardCount >= 0 && entry.baseCount >= 0 ? cardCount - entry.baseCount : 0;
            const int cards = std::max(counted, entry.cards);
            storage.Journal().Progress(entry.id, entry.bytes, cards);
            Report(Severity::Warning, {name, entry.id},
                   "was interrupted after " + AmountText(entry.bytes, cards) + "; cancelled at the printer");
        }
    });
    m_isRecovering = false;
    m_openProblem.clear();
    Update();
    Continue();
}

void CPrinter::Configure(const CPrinterConfiguration& configuration)
{
    m_nextConfiguration =
        configuration == m_configuration && m_session ? std::nullopt : std::optional(configuration);
    Continue();
}

bool CPrinter::IsIdle() const
{
    return !m_current && m_waiting.empty() && m_queries.empty() && !m_isQueryRunning && !m_isRecovering &&
           m_writes == 0 && m_endings == 0;
}

void CPrinter::PlanRetry()
{
    if (m_isRetryPlanned) {
        return;
    }
    m_isRetryPlanned = true;
    m_context.loop.After(kRetryMs, [this, life = std::weak_ptr<void>(m_life)] {
        if (!life.expired()) {
            m_isRetryPlanned = false;
            Retry();
        }
    });
}

void CPrinter::Retry()
{
    if (m_isRecovering && !m_isCancelling) {
        Recover();
    } else {
        Continue();
    }
}

/// Starts what can be started now.
void CPrinter::Continue()
{
    if (m_isRecovering && !m_isCancelling && (m_nextConfiguration || !m_stopReason.empty())) {
        m_isRecovering = false; // still due when the port is open again, and at the next start
    }
    if (m_isRecovering) {
        if (!m_isCancelling) {
            PlanRetry();
        }
        return;
    }
    if (m_nextConfiguration && !m_current && !m_isQueryRunning) {
        Close();
        m_configuration = *m_nextConfiguration;
        m_nextConfiguration.reset();
        Open();
    }
    if (!m_session && (!m_queries.empty() || !m_waiting.empty())) {
        Open();
    }
    if (!m_isRecovering && !m_nextConfiguration) {
        StartQuery();
        StartJob();
    }
    if (!m_session && !m_waiting.empty()) {
        PlanRetry();
    }
    if (IsIdle()) {
        m_events.OnPrinterIdle(*this);
    }
}

void CPrinter::Stop(const std::string& reason)
{
    m_stopReason = reason;
    RefuseQueries(CServiceError(ErrorName::Stopping, reason));
    for (const std::shared_ptr<CJob>& job : std::exchange(m_waiting, {})) {
        EndJob(job, JobOutcome::Interrupted, reason + " before its first byte", 0);
    }
    if (m_current && !m_current->control->hasStarted) {
        CancelRunning();
    }
    Continue();
}

void CPrinter::CancelRunning()
{
    if (m_current) {
        m_current->control->Cancel(m_stopReason);
    }
}

// ---------------------------------------------------------------------------------------------
// Queries

void CPrinter::Query(std::string text, const std::string& client, CReplyTo replyTo)
{
    if (!m_stopReason.empty()) {
        throw CServiceError(ErrorName::Stopping, m_stopReason);
    }
    if (m_isRecovering && !m_openProblem.empty()) {
        throw CServiceError(ErrorName::NoDevice, m_openProblem);
    }
    if (m_queries.size() >= kMostQueries) {
        throw CServiceError(ErrorName::Busy, "200 queries are waiting; try again later");
    }
    m_queries.push_back({std::move(text), client, std::move(replyTo), GetTickCount()});
    Continue();
}

void CPrinter::DropQueries(const std::string& client)
{
    std::erase_if(m_queries, [&](CWaitingQuery& query) {
        const bool isDropped = query.client == client;
        if (isDropped) {
            Wipe(query.text);
        }
        return isDropped;
    });
}

void CPrinter::RefuseQueries(const CServiceError& error)
{
    for (CWaitingQuery& query : std::exchange(m_queries, {})) {
        Wipe(query.text);
        query.replyTo({{}, error});
    }
}

void CPrinter::StartQuery()
{
    if (m_isQueryRunning || m_queries.empty()) {
        return;
    }
    auto query = std::make_shared<CWaitingQuery>(std::move(m_queries.front()));
    m_queries.pop_front();
    m_isQueryRunning = true;
    m_queryWorker.Post([this, query, session = m_session.get(), problem = m_openProblem] {
        const CReply reply = ReplyOf([&] {
            if (!session) {
                throw CServiceError(ErrorName::NoDevice, problem);
            }
            return CarryOut(*session, query->text);
        });
        m_context.loop.Post([this, query, reply] { FinishQuery(*query, reply); });
    });
}

void CPrinter::FinishQuery(CWaitingQuery& query, const CReply& reply)
{
    Wipe(query.text);
    m_isQueryRunning = false;
    m_context.metrics.CountQuery(Name(), GetTickCount() - query.startTick);
    query.replyTo(reply);
    Continue();
}

// ---------------------------------------------------------------------------------------------
// Jobs

void CPrinter::CheckAcceptsJob() const
{
    if (!m_stopReason.empty()) {
        throw CServiceError(ErrorName::Stopping, m_stopReason);
    }
    if (m_waiting.size() >= kMostJobs) {
        throw CServiceError(ErrorName::Busy, "1000 jobs are waiting; try again later");
    }
}

void CPrinter::Enqueue(std::shared_ptr<CJob> job)
{
    m_waiting.push_back(std::move(job));
    if (m_stopReason.empty()) {
        Continue();
    } else { // while the journal took it
        Stop(m_stopReason);
    }
}

void CPrinter::StartJob()
{
    if (m_current || m_waiting.empty() || !m_session) {
        return;
    }
    m_current = m_waiting.front();
    m_waiting.pop_front();
    m_passwordTicks = 0;
    m_progressTick = GetTickCount();
    m_progressCards = 0;
    Report(Severity::Info, {Name(), m_current->id}, "begins");
    m_jobWorker.Post([this, job = m_current] {
        const CJobResult result =
            CJobRun(*m_session, m_context.storage, *job->control, *job->data).Run(job->id, job->job.title);
        m_context.loop.Post([this, result] { FinishJob(result); });
    });
    Update();
}

void CPrinter::FinishJob(const CJobResult& result)
{
    UpdateJob();
    const std::shared_ptr<CJob> job = std::exchange(m_current, nullptr);
    m_session->RemoveValue(kPasswordValue); // one that was supplied too late belongs to nobody
    SaveValues();
    const bool isInterrupted = result.outcome == JobOutcome::Cancelled && result.reason == m_stopReason;
    EndJob(job, isInterrupted ? JobOutcome::Interrupted : result.outcome, result.reason, result.cards);
    Update();
    Continue();
}

/// cards -1: as counted so far. Clients are told when it is in the journal.
void CPrinter::EndJob(const std::shared_ptr<CJob>& job, JobOutcome outcome, const std::string& reason,
                      int cards)
{
    CJobStatus end;
    end.state = StateOf(outcome);
    end.reason = reason;
    end.bytes = job->control->bytes;
    end.cards = cards < 0 ? job->status.cards : cards;
    m_context.metrics.CountJob(Name(), outcome, end.cards);
    Report(outcome == JobOutcome::Completed ? Severity::Info : Severity::Warning, {Name(), job->id},
           std::string(OutcomeText(outcome)) + ": " + AmountText(end.bytes, end.cards) +
               (reason.empty() ? "" : "; " + reason));
    job->data.reset();
    job->control.reset();
    ++m_endings;
    EnterEnd(m_context.loop, m_context.storage, {job->id, outcome, reason, end.bytes, end.cards},
             [this, job, end] {
                 --m_endings;
                 job->status = end;
                 m_events.OnJobChanged(*job);
                 m_events.OnJobEnded(*job);
                 Continue();
             });
}

void CPrinter::Cancel(const CJob& job, const std::string& reason)
{
    if (m_current && m_current->id == job.id) {
        m_current->control->Cancel(reason);
        return;
    }
    const auto found =
        std::find_if(m_waiting.begin(), m_waiting.end(),
                     [&](const std::shared_ptr<CJob>& waiting) { return waiting->id == job.id; });
    if (found == m_waiting.end()) {
        return;
    }
    const std::shared_ptr<CJob> cancelled = *found;
    m_waiting.erase(found);
    EndJob(cancelled, JobOutcome::Cancelled, reason, 0);
    Continue();
}

void CPrinter::SupplyPassword(const CJob& job, std::string_view password)
{
    const bool isFit = password.size() <= host::kLongestPassword && // the factory's is empty
                       password.find_first_of(std::string_view("\0/", 2)) == std::string_view::npos;
    if (!isFit) {
        throw CServiceError(ErrorName::BadData,
                            "the password is longer than 254 bytes, or contains a NUL or a '/'");
    }
    const bool isWaiting = m_current && m_current->id == job.id &&
                           m_session->PublishedValues().printerError == host::kPasswordCategory;
    if (!isWaiting) {
        throw CServiceError(ErrorName::BadData, "the job does not wait for a password");
    }
    std::string terminated;
    terminated.reserve(password.size() + 1); // at once: a text that grows leaves copies in freed memory
    terminated.append(password).push_back('\0');
    const DWORD error = m_session->StoreValue(kPasswordValue, REG_BINARY, terminated);
    Wipe(terminated);
    if (error != ERROR_SUCCESS) {
        throw CServiceError(ErrorName::PrinterError,
                            "the password cannot be stored: " + host::PortErrorWords(error));
    }
    m_passwordTicks = 0;
    Report(Severity::Info, {Name(), job.id}, "a password was supplied");
    Update();
}

// ---------------------------------------------------------------------------------------------
// Stored values

std::optional<CStoredValue> CPrinter::ReadStored(const std::string& valueName) const
{
    const std::optional<zrtmon::CStoredValue> value =
        m_session ? m_session->LoadValue(host::WideFromUtf8(valueName)) : std::nullopt;
    return value ? std::optional(CStoredValue{valueName, false, value->type, value->bytes}) : std::nullopt;
}

void CPrinter::WriteStored(CStoredValue value, CReplyTo replyTo)
{
    const auto stored = std::make_shared<CStoredValue>(std::move(value));
    const auto apply = [this, stored, replyTo] {
        --m_writes;
        if (m_session && stored->isRemoved) {
            m_session->RemoveValue(host::WideFromUtf8(stored->name));
        } else if (m_session) {
            m_session->StoreValue(host::WideFromUtf8(stored->name), stored->type, stored->bytes);
        }
        Wipe(stored->bytes);
        replyTo({});
        Continue();
    };
    ++m_writes;
    if (IsPasswordName(stored->name)) {
        apply();
        return;
    }
    m_context.storage.Post([this, stored, replyTo, apply] {
        const CReply reply = ReplyOf([&] {
            m_context.storage.Values().Save(Name(), {*stored});
            return std::string();
        });
        m_context.loop.Post([this, stored, reply, replyTo, apply] {
            if (!reply.error) {
                apply();
                return;
            }
            --m_writes;
            Wipe(stored->bytes);
            replyTo(reply);
            Continue();
        });
    });
}

// ---------------------------------------------------------------------------------------------
// What clients see

void CPrinter::Update()
{
    UpdateJob();
    SetStatus(MakeStatus());
}

void CPrinter::UpdateJob()
{
    if (!m_current) {
        return;
    }
    const CJobStatus before = m_current->status;
    m_current->status = CurrentStatus();
    if (m_current->status == before) {
        return;
    }
    NoteHold(before);
    NoteProgress();
    m_events.OnJobChanged(*m_current);
}

CJobStatus CPrinter::CurrentStatus()
{
    const CJobControl& control = *m_current->control;
    const host::CPublishedValues values = m_session->PublishedValues();
    CJobStatus status;
    status.bytes = control.bytes;
    status.cards = m_current->status.cards;
    if (!control.hasStarted) {
        status.reason = control.WaitReason();
        status.state = status.reason.empty() ? JobState::Printing : JobState::Held;
        return status;
    }
    if (control.baseCount >= 0 && values.cardCount) {
        status.cards = std::max(0, *values.cardCount - control.baseCount);
    }
    status.category = values.printerError.value_or(host::kNoErrorCategory);
    status.state = control.isFinishing ? JobState::Finishing : JobState::Printing;
    if (status.category != host::kNoErrorCategory) {
        status.state = JobState::Held;
        status.reason = host::ErrorReason(status.category, values.deviceError.value_or(0));
    }
    status.wantsPassword = WantsPassword(values);
    return status;
}

bool CPrinter::WantsPassword(const host::CPublishedValues& values)
{
    const bool isWanted =
        values.printerError == host::kPasswordCategory && !m_session->HasValue(kPasswordValue);
    m_passwordTicks = isWanted ? m_passwordTicks + 1 : 0;
    return m_passwordTicks >= kSettledTicks;
}

void CPrinter::NoteHold(const CJobStatus& before)
{
    const CJobStatus& now = m_current->status;
    if (now.category != before.category && now.category == host::kPasswordCategory) {
        m_context.metrics.CountPasswordWait(Name());
    } else if (now.category != before.category && now.category != host::kNoErrorCategory) {
        m_context.metrics.CountError(Name(), now.category);
    }
    if (now.reason == before.reason) {
        return;
    }
    if (now.reason.empty()) {
        Report(Severity::Info, {Name(), m_current->id}, "goes on");
        return;
    }
    Report(Severity::Warning, {Name(), m_current->id}, "held: " + now.reason);
    m_context.storage.Post([&storage = m_context.storage, id = m_current->id, reason = now.reason] {
        storage.Journal().Hold(id, "held: " + reason);
    });
}

void CPrinter::NoteProgress()
{
    const CJobStatus& status = m_current->status;
    if (status.cards == m_progressCards && GetTickCount() - m_progressTick < kProgressMs) {
        return;
    }
    m_progressTick = GetTickCount();
    m_progressCards = status.cards;
    m_context.storage.Post([&storage = m_context.storage, id = m_current->id, bytes = status.bytes,
                            cards = status.cards] { storage.Journal().Progress(id, bytes, cards); });
}

CPrinterStatus CPrinter::MakeStatus() const
{
    CPrinterStatus status;
    if (!m_session) {
        status.state = PrinterState::Failed;
        status.message = m_openProblem;
        return status;
    }
    const host::CPublishedValues values = m_session->PublishedValues();
    status.printerStatus = values.printerStatus.value_or(status.printerStatus);
    status.printerError = values.printerError.value_or(status.printerError);
    status.deviceError = values.deviceError.value_or(status.deviceError);
    status.cardCount = values.cardCount.value_or(status.cardCount);
    if (m_isRecovering) {
        status.state = m_openProblem.empty() ? PrinterState::Idle : PrinterState::Failed;
        status.message = m_openProblem;
    } else if (m_current) {
        const bool isHeld = m_current->status.state == JobState::Held;
        status.state = isHeld ? PrinterState::Held : PrinterState::Printing;
        status.message = isHeld ? m_current->status.reason : "";
    }
    return status;
}

void CPrinter::SetStatus(const CPrinterStatus& status)
{
    if (status == m_status) {
        return;
    }
    m_status = status;
    m_events.OnPrinterChanged(*this);
}

} // namespace zrtmon::service
