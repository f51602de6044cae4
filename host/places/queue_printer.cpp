#include "host/places/queue_printer.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <utility>
#include <vector>

#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/sync.h"
#include "platform/wipe.h"

namespace zrtmon::host {
namespace {

constexpr size_t kFirstAnswerBytes = size_t{64} * 1024;
constexpr DWORD kMostAnswerBytes = 16 * 1024 * 1024; // a count above it is not believed
constexpr DWORD kLookMs = 200;
constexpr DWORD kLeastQueryMs = 250; // the monitor waits this long before it reads a reply

struct CBitWords {
    DWORD bit;
    const char* words;
};

constexpr CBitWords kQueueBits[] = {
    {PRINTER_STATUS_PENDING_DELETION, "is being removed"},
    {PRINTER_STATUS_PAUSED, "paused"},
    {PRINTER_STATUS_OFFLINE, "offline"},
    {PRINTER_STATUS_NOT_AVAILABLE, "not available"},
    {PRINTER_STATUS_USER_INTERVENTION, "wants somebody at the printer"},
    {PRINTER_STATUS_ERROR, "error"},
};

constexpr CBitWords kHoldBits[] = {
    {JOB_STATUS_PAUSED, "the job is paused"},
    {JOB_STATUS_BLOCKED_DEVQ, "the driver cannot print the job"},
    {JOB_STATUS_OFFLINE, "the printer is offline"},
    {JOB_STATUS_USER_INTERVENTION, "the printer wants somebody there"},
    {JOB_STATUS_PAPEROUT, "the printer has no cards"},
    {JOB_STATUS_ERROR, "the spooler reports an error of the job"},
};

std::string Words(std::span<const CBitWords> table, DWORD bits)
{
    std::string words;
    for (const CBitWords& row : table) {
        if ((bits & row.bit) != 0) {
            words += (words.empty() ? "" : ", ") + std::string(row.words);
        }
    }
    return words;
}

void ThrowIf(DWORD error, const std::string& printerName)
{
    if (error != ERROR_SUCCESS) {
        throw CHostError(SpoolerErrorStatus(error), Printable(printerName) + ": " + SpoolerErrorWords(error));
    }
}

/// The values of a printer's data. They may be passwords, and are wiped.
class CStoredValues {
public:
    CStoredValues(ISpoolerQueue& queue, const std::string& printerName)
    {
        ThrowIf(queue.StoredValues(&m_values), printerName);
    }
    ~CStoredValues()
    {
        for (auto& [name, value] : m_values) {
            Wipe(value.bytes);
        }
    }
    CStoredValues(const CStoredValues&) = delete;
    CStoredValues& operator=(const CStoredValues&) = delete;

    const CStoredValue* Find(const std::wstring& valueName) const
    {
        const auto row = std::find_if(m_values.begin(), m_values.end(), [&](const auto& value) {
            return EqualsIgnoringCase(Utf8FromWide(value.first), Utf8FromWide(valueName));
        });
        return row == m_values.end() ? nullptr : &row->second;
    }

    std::optional<int> Number(const std::wstring& valueName) const
    {
        const CStoredValue* const value = Find(valueName);
        return value ? LeadingNumber(value->bytes) : std::nullopt;
    }

private:
    std::vector<std::pair<std::wstring, CStoredValue>> m_values;
};

/// A job in the queue. A thread writes its data to the spooler, and then follows it until it has left the
/// queue.
class CQueueJobRun final : public IPrintJob {
public:
    CQueueJobRun(CQueuePrinter& printer, std::shared_ptr<ISpoolerQueue> queue, CJobSource& source,
                 uint32_t pieceBytes, const CHostEnvironment& environment)
        : m_printer(printer), m_queue(std::move(queue)), m_source(source), m_pieceBytes(pieceBytes),
          m_state(printer.ReadState()), m_baseCount(m_state.values.cardCount),
          m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        DWORD jobId = 0;
        ThrowIf(m_queue->StartDocument(WideFromUtf8(DisplayPath(source.Path().filename())), &jobId),
                printer.Name());
        m_jobId = jobId;
        try {
            m_thread = environment.startThread([this] { Run(); });
        } catch (...) {
            Abandon();
            throw;
        }
    }
    ~CQueueJobRun() override
    {
        if (!WaitForEnd(0)) {
            Delete();
        }
    }
    CQueueJobRun(const CQueueJobRun&) = delete;
    CQueueJobRun& operator=(const CQueueJobRun&) = delete;

    bool WaitForEnd(DWORD milliseconds) override
    {
        return WaitForSingleObject(m_done.Get(), milliseconds) == WAIT_OBJECT_0;
    }
    CJobView View() override;
    void Delete() override
    {
        m_queue->DeleteJob(m_jobId); // first: the thread ends a document that is deleted
        m_isDeleted = true;
    }
    CJobOutcome Outcome() override;

private:
    void Run() noexcept;
    void Abandon();
    void Spool();
    void Follow();
    bool Look();
    std::optional<int> CardsPrinted(const CPublishedValues& values) const;

    CQueuePrinter& m_printer;
    std::shared_ptr<ISpoolerQueue> m_queue;
    CJobSource& m_source;
    const uint32_t m_pieceBytes;
    CCriticalSection m_lock;
    CPrinterState m_state;                ///< when the job was last looked at; guarded by the lock
    const std::optional<int> m_baseCount; ///< the printer's count when the job was submitted
    CHandle m_done;                       ///< manual-reset event: the job has left the queue
    DWORD m_jobId = 0;
    std::atomic<uint64_t> m_takenBytes = 0;
    std::atomic<DWORD> m_lookTick = GetTickCount();
    std::atomic<bool> m_isSpooled = false;
    std::atomic<bool> m_isDeleted = false;
    std::atomic<bool> m_isAlone = true;       ///< no other job was seen to print
    std::atomic<DWORD> m_lastStatus = 0;      ///< the bits seen last that say how far the job is
    std::exception_ptr m_error;               ///< set by the thread, read after the end
    std::unique_ptr<IRunningThread> m_thread; ///< last: the others outlive it
};

void CQueueJobRun::Run() noexcept
{
    try {
        Spool();
        Follow();
    } catch (...) {
        m_error = std::current_exception();
        if (!m_isSpooled) {
            Abandon();
        }
    }
    SetEvent(m_done.Get());
}

/// Half a job must not be printed.
void CQueueJobRun::Abandon()
{
    m_queue->DeleteJob(m_jobId);
    m_queue->EndDocument();
}

void CQueueJobRun::Spool()
{
    for (std::span<char> piece = m_source.Piece(m_pieceBytes); !piece.empty() && !m_isDeleted;
         piece = m_source.Piece(m_pieceBytes)) {
        const DWORD error = m_queue->Write(piece);
        if (error == ERROR_PRINT_CANCELLED) {
            break;
        }
        ThrowIf(error, m_printer.Name());
        m_source.Take(piece.size());
        m_takenBytes += piece.size();
    }
    const DWORD error = m_queue->EndDocument();
    if (error != ERROR_PRINT_CANCELLED) {
        ThrowIf(error, m_printer.Name());
    }
    m_isSpooled = true;
}

void CQueueJobRun::Follow()
{
    while (Look()) {
        m_printer.WaitForChange(kLookMs);
    }
}

/// False as soon as the job has left the queue.
bool CQueueJobRun::Look()
{
    constexpr DWORD kStages = JOB_STATUS_PRINTING | JOB_STATUS_PRINTED | JOB_STATUS_COMPLETE |
                              JOB_STATUS_DELETING | JOB_STATUS_DELETED | JOB_STATUS_ERROR;
    m_lookTick = GetTickCount();
    std::vector<CQueueJob> jobs;
    ThrowIf(m_queue->Jobs(&jobs), m_printer.Name());
    CPrinterState state = m_printer.ReadState();
    if (state.printingJob != m_jobId && state.values.printerError == kPasswordCategory) {
        state.values.printerError.reset(); // another job's, or left over
    }
    bool isThere = false;
    for (const CQueueJob& job : jobs) {
        if (job.id != m_jobId) {
            m_isAlone = m_isAlone && (job.status & JOB_STATUS_PRINTING) == 0;
            continue;
        }
        isThere = true;
        const std::string hold = Words(kHoldBits, job.status);
        state.queue = hold.empty() ? state.queue : hold;
        if ((job.status & kStages) != 0) {
            m_lastStatus = job.status;
        }
    }
    const CSectionHold hold(m_lock);
    m_state = std::move(state);
    return isThere;
}

CJobView CQueueJobRun::View()
{
    if (!m_isSpooled && GetTickCount() - m_lookTick >= kLookMs) {
        Look(); // the thread is writing, and may have to wait there
    }
    const CSectionHold hold(m_lock);
    return {m_takenBytes, m_source.TotalBytes(), m_isSpooled, CardsPrinted(m_state.values), m_state};
}

CJobOutcome CQueueJobRun::Outcome()
{
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    CJobOutcome outcome{.values = m_printer.PublishedValues()};
    outcome.cards = CardsPrinted(outcome.values);
    if (m_isDeleted) {
        return outcome;
    }
    const DWORD last = m_lastStatus;
    const bool isDeleted = (last & (JOB_STATUS_DELETING | JOB_STATUS_DELETED)) != 0;
    const bool isPrinted = (last & (JOB_STATUS_PRINTED | JOB_STATUS_COMPLETE)) != 0;
    const bool isFailed = (last & JOB_STATUS_ERROR) != 0;
    outcome.status = ExitStatus::PrinterError;
    if (isDeleted || m_takenBytes < m_source.TotalBytes()) {
        outcome.problem = "the job was deleted from the queue";
    } else if (isFailed && !isPrinted) {
        outcome.problem = "the spooler reported an error of the job before it left the queue";
    } else if (last == 0) {
        outcome.problem = "cannot tell whether the job was printed: it left the queue unseen";
    } else {
        outcome.status = ExitStatus::Done;
    }
    return outcome;
}

std::optional<int> CQueueJobRun::CardsPrinted(const CPublishedValues& values) const
{
    if (!m_isAlone || !m_baseCount || !values.cardCount) {
        return std::nullopt;
    }
    return std::max(0, *values.cardCount - *m_baseCount);
}

/// Asks once, and for a name that reads again if the answer is longer than the buffer.
CQueryResult Ask(ISpoolerQueue& queue, const std::wstring& requestText, bool maySilent)
{
    const DWORD start = GetTickCount();
    std::string answer(kFirstAnswerBytes, '\0');
    DWORD needed = 0;
    DWORD error = queue.GetData(requestText, answer, &needed);
    if (error == ERROR_MORE_DATA && !maySilent && needed <= kMostAnswerBytes) {
        answer.resize(needed);
        error = queue.GetData(requestText, answer, &needed);
    }
    if (error != ERROR_SUCCESS) {
        return {false, {}, error};
    }
    answer.resize(std::min<size_t>(needed, answer.size()));
    const bool isStored = !maySilent && GetTickCount() - start < kLeastQueryMs;
    return {true, answer.substr(0, answer.find('\0')), ERROR_SUCCESS, {}, isStored};
}

} // namespace

std::string QueueWords(const CQueueEntry& entry)
{
    const std::string words = Words(kQueueBits, entry.status);
    const bool isOffline = (entry.attributes & PRINTER_ATTRIBUTE_WORK_OFFLINE) != 0;
    return isOffline ? words + (words.empty() ? "" : ", ") + "set to work offline" : words;
}

CPublishedValues PublishedTo(ISpoolerQueue& queue, const std::string& printerName)
{
    const CStoredValues values(queue, printerName);
    return {values.Number(L"PrinterStatus"), values.Number(L"PrinterError"), values.Number(L"DeviceError"),
            values.Number(L"CardCount")};
}

CQueuePrinter::CQueuePrinter(std::string name, std::shared_ptr<ISpoolerQueue> queue, ISystemSpooler& spooler,
                             const CHostEnvironment& environment)
    : m_name(std::move(name)), m_queue(std::move(queue)), m_spooler(spooler), m_environment(environment)
{
}

std::string CQueuePrinter::Place() const { return '"' + Printable(m_name) + '"'; }

CQueryResult CQueuePrinter::Query(const std::string& requestText)
{
    const CValueName* const name = FindValueName(requestText);
    return Ask(*m_queue, WideFromUtf8(requestText), name && name->kind != ValueKind::Query);
}

CQueryResult CQueuePrinter::SendPasswords(const std::string& name,
                                          std::initializer_list<std::string_view> passwords)
{
    std::wstring requestText = PasswordRequestText(name, passwords);
    CQueryResult result = Ask(*m_queue, requestText, true);
    Wipe(requestText);
    // The spooler has no answer to an action that the monitor carried out; the state shows how it went.
    result.answered = result.answered || result.error == ERROR_FILE_NOT_FOUND;
    return result;
}

std::string CQueuePrinter::QueryErrorText(DWORD error) const
{
    CQueueEntry entry;
    const bool isKnown = m_queue->Info(&entry) == ERROR_SUCCESS;
    if (isKnown && (entry.attributes & PRINTER_ATTRIBUTE_ENABLE_BIDI) == 0) {
        return "the printer's bidirectional support is off; switch it on in its properties (Ports)";
    }
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
        return "the spooler has no answer: the printer gave none, or it was an action, which may have been "
               "carried out "
               "(system error 2)";
    case ERROR_MORE_DATA:
        return "the answer is too long (system error 234)";
    case ERROR_ACCESS_DENIED:
        return "access denied: the right to print is missing (system error 5)";
    case ERROR_INVALID_HANDLE:
    case RPC_S_SERVER_UNAVAILABLE:
        return SpoolerErrorWords(error);
    default:
        return QueryErrorWords(error);
    }
}

CPublishedValues CQueuePrinter::PublishedValues() { return PublishedTo(*m_queue, m_name); }

CPrinterState CQueuePrinter::ReadState()
{
    CQueueEntry entry;
    ThrowIf(m_queue->Info(&entry), m_name);
    std::vector<CQueueJob> jobs;
    ThrowIf(m_queue->Jobs(&jobs), m_name);
    const auto printing = std::find_if(jobs.begin(), jobs.end(), [](const CQueueJob& job) {
        return (job.status & JOB_STATUS_PRINTING) != 0;
    });
    return {PublishedValues(), QueueWords(entry), printing == jobs.end() ? 0 : printing->id};
}

bool CQueuePrinter::WaitForChange(DWORD milliseconds)
{
    const DWORD start = GetTickCount();
    if (!m_queue->WaitForChange(milliseconds)) {
        Sleep(milliseconds);
    }
    return GetTickCount() - start < milliseconds;
}

bool CQueuePrinter::HasValue(const std::wstring& valueName)
{
    return CStoredValues(*m_queue, m_name).Find(valueName) != nullptr;
}

std::optional<CStoredValue> CQueuePrinter::LoadValue(const std::wstring& valueName)
{
    const CStoredValues values(*m_queue, m_name);
    const CStoredValue* const value = values.Find(valueName);
    return value ? std::optional(*value) : std::nullopt;
}

DWORD CQueuePrinter::OpenForAdministration(std::unique_ptr<ISpoolerQueue>* queue)
{
    return m_spooler.Open(WideFromUtf8(m_name), PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE, queue);
}

CStoreResult CQueuePrinter::StoreValue(const std::wstring& valueName, DWORD type, std::span<const char> bytes)
{
    std::unique_ptr<ISpoolerQueue> queue;
    const DWORD error = OpenForAdministration(&queue);
    return error == ERROR_SUCCESS ? queue->SetData(valueName, type, bytes) : error;
}

CStoreResult CQueuePrinter::RemoveValue(const std::wstring& valueName)
{
    std::unique_ptr<ISpoolerQueue> queue;
    const DWORD error = OpenForAdministration(&queue);
    return error == ERROR_SUCCESS ? queue->DeleteData(valueName) : error;
}

std::unique_ptr<IPrintJob> CQueuePrinter::Print(CJobSource& source, uint32_t pieceBytes)
{
    return std::make_unique<CQueueJobRun>(*this, m_queue, source, pieceBytes, m_environment);
}

} // namespace zrtmon::host
