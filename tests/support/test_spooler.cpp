#include "tests/support/test_spooler.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <stdexcept>
#include <utility>

#include "platform/spooler_admin.h"
#include "platform/sync.h"
#include "platform/virtual_clock.h"
#include "simulator/port_monitor.h"

namespace zrtmon::test {

namespace {

constexpr wchar_t kMonitorName[] = L"ZRT Card Printer Monitor";
constexpr wchar_t kUser[] = L"operator";
constexpr size_t kPieceBytes = 64 * 1024;
constexpr DWORD kRetryMs = 1000; // after the port has failed
constexpr DWORD kIdleMs = 1;     // after the port has taken nothing
constexpr DWORD kWaitMs = 1000;
constexpr DWORD kPollMs = 10;

LPWSTR Mutable(const std::wstring& text) { return const_cast<LPWSTR>(text.c_str()); }

bool IsSameName(const std::wstring& left, const std::wstring& right)
{
    return lstrcmpiW(left.c_str(), right.c_str()) == 0;
}

/// A port that the spooler has opened, through the language monitor or directly.
struct CPort {
    CPort(const MONITOR2& entries, HANDLE opened) : table(entries), handle(opened) {}
    ~CPort() { table.pfnClosePort(handle); }
    CPort(const CPort&) = delete;
    CPort& operator=(const CPort&) = delete;

    const MONITOR2& table;
    HANDLE handle;
};

/// Makes the printer, and opens it with every right.
CPrinterHandle CreateStore(const std::wstring& name)
{
    spooler::CreatePrinter(name);
    PRINTER_DEFAULTSW defaults{nullptr, nullptr, PRINTER_ACCESS_ADMINISTER};
    HANDLE printer = nullptr;
    OpenPrinterW(Mutable(name), &printer, &defaults);
    return CPrinterHandle(printer);
}

struct CJob {
    DWORD id = 0;
    std::wstring document;
    std::string data;
    bool isComplete = false; ///< its document has ended
    bool isPrinting = false;
};

DWORD CopyBytes(const std::string& bytes, std::span<char> buffer, DWORD* needed)
{
    *needed = static_cast<DWORD>(bytes.size());
    if (bytes.size() > buffer.size()) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(buffer.data(), bytes.data(), bytes.size());
    return ERROR_SUCCESS;
}

} // namespace

struct CTestSpooler::State {
    State(const MONITOR2& table, HANDLE handle) : monitor(table), monitorHandle(handle) {}

    const MONITOR2& monitor;
    HANDLE monitorHandle;
    std::atomic<bool> isRunning{true};
    CCriticalSection lock; ///< guards queues
    std::vector<std::shared_ptr<CQueue>> queues;
};

class CTestSpooler::CQueue {
public:
    CQueue(const State& spooler, const CTestQueueOptions& options);
    ~CQueue() { Close(); }

    const CTestQueueOptions& Options() const { return m_options; }
    sim::CCardPrinter& Printer() { return *m_ports.FindPrinter(m_portName); }
    void SetPaused(bool isPaused);
    /// The printer is gone: ends the job that is being printed, and waits for questions under way.
    void Close();
    bool IsClosed() const { return m_isClosed; }

    CQueueEntry Entry();
    DWORD GetData(const std::wstring& requestText, std::span<char> buffer, DWORD* needed);
    DWORD SetData(const std::wstring& valueName, DWORD type, std::span<const char> bytes);
    DWORD DeleteData(const std::wstring& valueName);

    DWORD AddJob(const std::wstring& title);
    DWORD AppendToJob(DWORD jobId, std::span<const char> bytes);
    DWORD CompleteJob(DWORD jobId);
    DWORD DeleteJob(DWORD jobId);
    std::vector<CQueueJob> Jobs();

    /// Changes whenever a job, a value or the printer's state does.
    size_t Fingerprint();

private:
    bool UsesMonitor() const
    {
        return m_options.isBidirectional && IsSameName(m_options.monitor, kMonitorName);
    }
    std::unique_ptr<CPort> OpenPort();
    DWORD AskMonitor(const std::wstring& requestText, std::span<char> buffer, DWORD* needed);
    void Refresh(const std::wstring& valueName);

    void PrintJobs();
    std::shared_ptr<CJob> TakeNextJob();
    void Print(const CJob& job);
    bool StartDocument(const CJob& job);
    void WriteData(const CJob& job);
    bool GoesOn(const CJob& job) const;
    void ReportTrouble(const CJob& job, bool isInTrouble) const;
    DWORD StatusOf(DWORD jobId) const
    {
        return spooler::JobStatus(m_options.name, jobId).value_or(JOB_STATUS_DELETED);
    }
    void StayInQueue() const;
    void RemoveJob(DWORD jobId);

    const State& m_spooler;
    CTestQueueOptions m_options;
    std::wstring m_portName;
    sim::CPortMonitor m_ports;
    CPrinterHandle m_store; ///< open with every right
    std::unique_ptr<CPort> m_port;
    std::atomic<bool> m_isClosed{false};
    std::atomic<unsigned> m_questions{0}; ///< under way at the monitor
    CHandle m_work{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    CCriticalSection m_lock; ///< guards the jobs and whether they are held
    bool m_isPaused = false;
    std::map<DWORD, std::shared_ptr<CJob>> m_jobs; ///< in the order of printing
    std::unique_ptr<CVirtualClock::CClockThread> m_thread;
};

CTestSpooler::CQueue::CQueue(const State& spooler, const CTestQueueOptions& options)
    : m_spooler(spooler), m_options(options), m_portName(options.port.begin(), options.port.end()),
      m_store(CreateStore(options.name)), m_port(OpenPort())
{
    if (UsesMonitor() && m_options.libraryReads == CTestQueueOptions::LibraryReads::LivePrinter) {
        spooler::RefreshValues(m_options.name, [this](const std::wstring& valueName) { Refresh(valueName); });
    }
    m_thread = std::make_unique<CVirtualClock::CClockThread>([this] { PrintJobs(); });
}

std::unique_ptr<CPort> CTestSpooler::CQueue::OpenPort()
{
    HANDLE port = nullptr;
    MONITOR2* const lower = sim::CPortMonitor::Table();
    const BOOL opened = UsesMonitor() ? m_spooler.monitor.pfnOpenPortEx(m_spooler.monitorHandle,
                                                                        m_ports.Handle(), m_portName.data(),
                                                                        m_options.name.data(), &port, lower)
                                      : lower->pfnOpenPort(m_ports.Handle(), m_portName.data(), &port);
    if (!opened) {
        const DWORD error = GetLastError();
        spooler::RemovePrinter(m_options.name);
        throw std::runtime_error("port " + m_options.port + " does not open: error " + std::to_string(error));
    }
    return std::make_unique<CPort>(UsesMonitor() ? m_spooler.monitor : *lower, port);
}

void CTestSpooler::CQueue::Close()
{
    if (m_isClosed.exchange(true)) {
        return;
    }
    for (const CQueueJob& job : Jobs()) { // the monitor would wait for the printer to finish it
        spooler::ChangeJobStatus(m_options.name, job.id, JOB_STATUS_DELETING, 0);
    }
    SetEvent(m_work.Get());
    m_thread.reset();
    while (m_questions > 0) {
        Sleep(kPollMs);
    }
    m_port.reset();
    spooler::RemovePrinter(m_options.name);
}

void CTestSpooler::CQueue::SetPaused(bool isPaused)
{
    const CSectionHold hold(m_lock);
    m_isPaused = isPaused;
    SetEvent(m_work.Get());
}

// ---------------------------------------------------------------------------------------------
// Printer data

DWORD CTestSpooler::CQueue::GetData(const std::wstring& requestText, std::span<char> buffer, DWORD* needed)
{
    *needed = 0;
    if (UsesMonitor()) {
        SetLastError(ERROR_SUCCESS); // an action without an answer fails and sets none
        const DWORD error = AskMonitor(requestText, buffer, needed);
        const bool isRefused = *needed == 0;
        if (!isRefused || m_options.refused == CTestQueueOptions::Refused::MonitorError) {
            return error;
        }
    }
    const std::optional<std::string> stored = spooler::LoadValue(m_options.name, requestText);
    return stored ? CopyBytes(*stored, buffer, needed) : ERROR_FILE_NOT_FOUND;
}

/// Stores what it gets. *needed is 0 if the monitor refuses.
DWORD CTestSpooler::CQueue::AskMonitor(const std::wstring& requestText, std::span<char> buffer, DWORD* needed)
{
    struct CQuestion {
        explicit CQuestion(std::atomic<unsigned>& count) : underWay(count) { ++underWay; }
        ~CQuestion() { --underWay; }
        std::atomic<unsigned>& underWay;
    };
    *needed = 0;
    const CQuestion question(m_questions);
    if (m_isClosed) {
        return ERROR_INVALID_HANDLE;
    }
    std::vector<wchar_t> answer(buffer.size() / sizeof(wchar_t) + 1); // aligned for wide text
    DWORD returned = 0;
    if (!m_port->table.pfnGetPrinterDataFromPort(m_port->handle, 0, Mutable(requestText), nullptr, 0,
                                                 answer.data(), static_cast<DWORD>(buffer.size()),
                                                 &returned)) {
        return GetLastError();
    }
    *needed = returned;
    if (returned > buffer.size()) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(buffer.data(), answer.data(), returned);
    return SetData(requestText, REG_BINARY, buffer.first(returned));
}

/// As RPC does, on another thread: the locks that the library holds are not this thread's.
void CTestSpooler::CQueue::Refresh(const std::wstring& valueName)
{
    CVirtualClock::CClockThread thread([this, &valueName] {
        std::vector<char> answer(kPieceBytes);
        DWORD needed = 0;
        AskMonitor(valueName, answer, &needed);
    });
    thread.Join();
}

DWORD CTestSpooler::CQueue::SetData(const std::wstring& valueName, DWORD type, std::span<const char> bytes)
{
    return SetPrinterDataW(m_store.Get(), Mutable(valueName), type,
                           reinterpret_cast<LPBYTE>(const_cast<char*>(bytes.data())),
                           static_cast<DWORD>(bytes.size()));
}

DWORD CTestSpooler::CQueue::DeleteData(const std::wstring& valueName)
{
    return DeletePrinterDataW(m_store.Get(), Mutable(valueName));
}

// ---------------------------------------------------------------------------------------------
// Jobs

DWORD CTestSpooler::CQueue::AddJob(const std::wstring& title)
{
    const CSectionHold hold(m_lock);
    auto job = std::make_shared<CJob>();
    job->id = spooler::SubmitJob(m_options.name, title);
    job->document = title;
    spooler::ChangeJobStatus(m_options.name, job->id, JOB_STATUS_SPOOLING, 0);
    m_jobs[job->id] = job;
    return job->id;
}

DWORD CTestSpooler::CQueue::AppendToJob(DWORD jobId, std::span<const char> bytes)
{
    const CSectionHold hold(m_lock);
    const auto job = m_jobs.find(jobId);
    if (job == m_jobs.end() || (StatusOf(jobId) & JOB_STATUS_DELETING) != 0) {
        return ERROR_PRINT_CANCELLED;
    }
    job->second->data.append(bytes.data(), bytes.size());
    return ERROR_SUCCESS;
}

DWORD CTestSpooler::CQueue::CompleteJob(DWORD jobId)
{
    const CSectionHold hold(m_lock);
    const auto job = m_jobs.find(jobId);
    if (job == m_jobs.end()) {
        return ERROR_PRINT_CANCELLED;
    }
    if ((StatusOf(jobId) & JOB_STATUS_DELETING) != 0) {
        RemoveJob(jobId);
        return ERROR_PRINT_CANCELLED;
    }
    job->second->isComplete = true;
    spooler::ChangeJobStatus(m_options.name, jobId, 0, JOB_STATUS_SPOOLING);
    SetEvent(m_work.Get());
    return ERROR_SUCCESS;
}

/// A job that is being written or printed stays, marked, until that has ended.
DWORD CTestSpooler::CQueue::DeleteJob(DWORD jobId)
{
    const CSectionHold hold(m_lock);
    const auto job = m_jobs.find(jobId);
    if (job == m_jobs.end()) {
        return ERROR_INVALID_PARAMETER;
    }
    spooler::ChangeJobStatus(m_options.name, jobId, JOB_STATUS_DELETING, 0);
    if (job->second->isComplete && !job->second->isPrinting) {
        RemoveJob(jobId);
    }
    return ERROR_SUCCESS;
}

void CTestSpooler::CQueue::RemoveJob(DWORD jobId)
{
    const CSectionHold hold(m_lock);
    m_jobs.erase(jobId);
    spooler::RemoveJob(m_options.name, jobId);
}

std::vector<CQueueJob> CTestSpooler::CQueue::Jobs()
{
    const CSectionHold hold(m_lock);
    std::vector<CQueueJob> jobs;
    for (const auto& [id, job] : m_jobs) {
        jobs.push_back({.id = id,
                        .document = job->document,
                        .user = kUser,
                        .statusText = {},
                        .status = StatusOf(id),
                        .bytes = static_cast<DWORD>(job->data.size())});
    }
    return jobs;
}

void CTestSpooler::CQueue::PrintJobs()
{
    while (!m_isClosed) {
        if (const std::shared_ptr<CJob> job = TakeNextJob()) {
            Print(*job);
        } else {
            WaitForSingleObject(m_work.Get(), kWaitMs);
        }
    }
}

/// The first job that is complete; null if there is none to print now.
std::shared_ptr<CJob> CTestSpooler::CQueue::TakeNextJob()
{
    const CSectionHold hold(m_lock);
    const auto next =
        std::find_if(m_jobs.begin(), m_jobs.end(), [](const auto& each) { return each.second->isComplete; });
    if (m_isPaused || !m_spooler.isRunning || next == m_jobs.end()) {
        return nullptr;
    }
    next->second->isPrinting = true;
    spooler::ChangeJobStatus(m_options.name, next->first, JOB_STATUS_PRINTING, 0);
    return next->second;
}

void CTestSpooler::CQueue::Print(const CJob& job)
{
    if (StartDocument(job)) {
        WriteData(job);
        m_port->table.pfnEndDocPort(m_port->handle); // here the monitor cancels a deleted job
        if ((StatusOf(job.id) & JOB_STATUS_DELETING) == 0) {
            spooler::ChangeJobStatus(m_options.name, job.id, JOB_STATUS_PRINTED, JOB_STATUS_PRINTING);
            StayInQueue();
        }
    }
    RemoveJob(job.id);
}

void CTestSpooler::CQueue::StayInQueue() const
{
    for (DWORD waitedMs = 0; waitedMs < m_options.printedJobStaysMs && !m_isClosed; waitedMs += kPollMs) {
        Sleep(kPollMs);
    }
}

bool CTestSpooler::CQueue::GoesOn(const CJob& job) const
{
    return !m_isClosed && (StatusOf(job.id) & JOB_STATUS_DELETING) == 0;
}

void CTestSpooler::CQueue::ReportTrouble(const CJob& job, bool isInTrouble) const
{
    spooler::ChangeJobStatus(m_options.name, job.id, isInTrouble ? JOB_STATUS_ERROR : 0,
                             isInTrouble ? 0 : JOB_STATUS_ERROR);
}

bool CTestSpooler::CQueue::StartDocument(const CJob& job)
{
    DOC_INFO_1W info{Mutable(job.document), nullptr, const_cast<LPWSTR>(L"RAW")};
    while (GoesOn(job)) {
        const bool isStarted = m_port->table.pfnStartDocPort(m_port->handle, m_options.name.data(), job.id, 1,
                                                             reinterpret_cast<LPBYTE>(&info)) != FALSE;
        ReportTrouble(job, !isStarted);
        if (isStarted) {
            return true;
        }
        Sleep(kRetryMs);
    }
    return false;
}

void CTestSpooler::CQueue::WriteData(const CJob& job)
{
    std::span<const char> rest = job.data;
    while (!rest.empty() && GoesOn(job)) {
        const std::span<const char> piece = rest.first(std::min(rest.size(), kPieceBytes));
        DWORD written = 0;
        const bool isWritten = m_port->table.pfnWritePort(
                                   m_port->handle, reinterpret_cast<LPBYTE>(const_cast<char*>(piece.data())),
                                   static_cast<DWORD>(piece.size()), &written) != FALSE;
        ReportTrouble(job, !isWritten);
        rest = rest.subspan(std::min<size_t>(written, piece.size()));
        if (written == 0) {
            Sleep(isWritten ? kIdleMs : kRetryMs);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// State

CQueueEntry CTestSpooler::CQueue::Entry()
{
    const std::vector<CQueueJob> jobs = Jobs();
    DWORD jobStatus = 0;
    for (const CQueueJob& job : jobs) {
        jobStatus |= job.status;
    }
    const auto when = [](bool isSet, DWORD bit) { return isSet ? bit : DWORD{0}; };
    const CSectionHold hold(m_lock);
    return {.name = m_options.name,
            .port = m_portName,
            .driver = L"Card Printer Driver",
            .monitor = m_options.monitor,
            .status = when(m_isPaused, PRINTER_STATUS_PAUSED) |
                      when((jobStatus & JOB_STATUS_PRINTING) != 0, PRINTER_STATUS_PRINTING) |
                      when((jobStatus & JOB_STATUS_ERROR) != 0, PRINTER_STATUS_ERROR),
            .attributes = when(m_options.isBidirectional, PRINTER_ATTRIBUTE_ENABLE_BIDI),
            .jobs = static_cast<DWORD>(jobs.size())};
}

size_t CTestSpooler::CQueue::Fingerprint()
{
    size_t print = 1;
    const auto add = [&print](const auto& part) {
        print = print * 31 + std::hash<std::decay_t<decltype(part)>>()(part);
    };
    add(Entry().status);
    for (const CQueueJob& job : Jobs()) {
        add(job.id);
        add(job.status);
    }
    spooler::VisitValues(m_options.name, [&add](const std::wstring& name, DWORD, const std::string& bytes) {
        add(name);
        add(bytes);
    });
    return print;
}

// ---------------------------------------------------------------------------------------------
// What a client has opened

class CTestSpooler::COpenQueue final : public ISpoolerQueue {
public:
    COpenQueue(std::shared_ptr<State> spooler, std::shared_ptr<CQueue> queue, DWORD access)
        : m_spooler(std::move(spooler)), m_queue(std::move(queue)), m_access(access)
    {
    }
    ~COpenQueue() override
    {
        if (m_document != 0) {
            m_queue->CompleteJob(m_document);
        }
    }

    DWORD Info(CQueueEntry* entry) override
    {
        return Serve([&] {
            *entry = m_queue->Entry();
            return DWORD{ERROR_SUCCESS};
        });
    }
    DWORD GetData(const std::wstring& requestText, std::span<char> buffer, DWORD* needed) override
    {
        return Serve([&] { return m_queue->GetData(requestText, buffer, needed); });
    }
    DWORD StoredValues(std::vector<std::pair<std::wstring, CStoredValue>>* values) override
    {
        values->clear();
        return Serve([&] {
            spooler::VisitValues(m_queue->Options().name,
                                 [values](const std::wstring& name, DWORD type, const std::string& bytes) {
                                     values->push_back({name, {type, bytes}});
                                 });
            return DWORD{ERROR_SUCCESS};
        });
    }
    DWORD SetData(const std::wstring& valueName, DWORD type, std::span<const char> bytes) override
    {
        return Administer([&] { return m_queue->SetData(valueName, type, bytes); });
    }
    DWORD DeleteData(const std::wstring& valueName) override
    {
        return Administer([&] { return m_queue->DeleteData(valueName); });
    }

    DWORD StartDocument(const std::wstring& title, DWORD* jobId) override
    {
        *jobId = 0;
        return Serve([&]() -> DWORD {
            if (m_document != 0) {
                return ERROR_INVALID_PARAMETER;
            }
            m_document = *jobId = m_queue->AddJob(title);
            return ERROR_SUCCESS;
        });
    }
    DWORD Write(std::span<const char> bytes) override
    {
        return Serve([&] { return m_queue->AppendToJob(m_document, bytes); });
    }
    DWORD EndDocument() override
    {
        return Serve([&] { return m_queue->CompleteJob(std::exchange(m_document, 0)); });
    }
    DWORD Jobs(std::vector<CQueueJob>* jobs) override
    {
        jobs->clear();
        return Serve([&] {
            *jobs = m_queue->Jobs();
            return DWORD{ERROR_SUCCESS};
        });
    }
    DWORD DeleteJob(DWORD jobId) override
    {
        return Serve([&] { return m_queue->DeleteJob(jobId); });
    }

    bool WaitForChange(DWORD milliseconds) override
    {
        if (!m_queue->Options().tellsChanges || Refusal() != ERROR_SUCCESS) {
            return false;
        }
        const DWORD start = GetTickCount();
        size_t before = m_seen.load();
        if (before == 0) { // the first wait begins to watch
            before = m_queue->Fingerprint();
        }
        while (Refusal() == ERROR_SUCCESS && m_queue->Fingerprint() == before &&
               GetTickCount() - start < milliseconds) {
            Sleep(std::min(kPollMs, milliseconds));
        }
        m_seen = m_queue->Fingerprint();
        return true;
    }

private:
    DWORD Refusal() const
    {
        if (!m_spooler->isRunning) {
            return RPC_S_SERVER_UNAVAILABLE;
        }
        return m_queue->IsClosed() ? ERROR_INVALID_HANDLE : ERROR_SUCCESS;
    }

    template <typename Function>
    DWORD Serve(const Function& function)
    {
        const DWORD error = Refusal();
        return error != ERROR_SUCCESS ? error : function();
    }
    template <typename Function>
    DWORD Administer(const Function& function)
    {
        return Serve([&] {
            return (m_access & PRINTER_ACCESS_ADMINISTER) != 0 ? function() : DWORD{ERROR_ACCESS_DENIED};
        });
    }

    std::shared_ptr<State> m_spooler;
    std::shared_ptr<CQueue> m_queue;
    DWORD m_access;
    DWORD m_document = 0;          ///< the job of the open document; 0: none
    std::atomic<size_t> m_seen{0}; ///< the last fingerprint that a wait has seen
};

// ---------------------------------------------------------------------------------------------

CTestSpooler::CTestSpooler(const MONITOR2& monitor, HANDLE monitorHandle)
    : m_state(std::make_shared<State>(monitor, monitorHandle))
{
}

CTestSpooler::~CTestSpooler()
{
    for (const std::shared_ptr<CQueue>& queue : m_state->queues) {
        queue->Close();
    }
}

void CTestSpooler::Add(const CTestQueueOptions& options)
{
    auto queue = std::make_shared<CQueue>(*m_state, options);
    const CSectionHold hold(m_state->lock);
    m_state->queues.push_back(std::move(queue));
}

void CTestSpooler::Remove(const std::wstring& printerName)
{
    const std::shared_ptr<CQueue> queue = Known(printerName);
    {
        const CSectionHold hold(m_state->lock);
        std::erase(m_state->queues, queue);
    }
    queue->Close();
}

void CTestSpooler::SetRunning(bool isRunning) { m_state->isRunning = isRunning; }

void CTestSpooler::SetPaused(const std::wstring& printerName, bool isPaused)
{
    Known(printerName)->SetPaused(isPaused);
}

sim::CCardPrinter& CTestSpooler::Printer(const std::wstring& printerName)
{
    return Known(printerName)->Printer();
}

std::shared_ptr<CTestSpooler::CQueue> CTestSpooler::Find(const std::wstring& printerName) const
{
    const CSectionHold hold(m_state->lock);
    const auto found = std::find_if(m_state->queues.begin(), m_state->queues.end(), [&](const auto& queue) {
        return IsSameName(queue->Options().name, printerName);
    });
    return found != m_state->queues.end() ? *found : nullptr;
}

std::shared_ptr<CTestSpooler::CQueue> CTestSpooler::Known(const std::wstring& printerName) const
{
    std::shared_ptr<CQueue> queue = Find(printerName);
    if (!queue) {
        throw std::out_of_range("the test spooler has no such printer");
    }
    return queue;
}

DWORD CTestSpooler::ListQueues(std::vector<CQueueEntry>* queues)
{
    queues->clear();
    if (!m_state->isRunning) {
        return RPC_S_SERVER_UNAVAILABLE;
    }
    const CSectionHold hold(m_state->lock);
    for (const std::shared_ptr<CQueue>& queue : m_state->queues) {
        queues->push_back(queue->Entry());
    }
    return ERROR_SUCCESS;
}

DWORD CTestSpooler::Open(const std::wstring& printerName, DWORD access, std::unique_ptr<ISpoolerQueue>* queue)
{
    queue->reset();
    if (!m_state->isRunning) {
        return RPC_S_SERVER_UNAVAILABLE;
    }
    const std::shared_ptr<CQueue> found = Find(printerName);
    if (!found) {
        return ERROR_INVALID_PRINTER_NAME;
    }
    if ((access & PRINTER_ACCESS_ADMINISTER) != 0 && !found->Options().mayAdminister) {
        return ERROR_ACCESS_DENIED;
    }
    *queue = std::make_unique<COpenQueue>(m_state, found, access);
    return ERROR_SUCCESS;
}

} // namespace zrtmon::test
