#include "host/places/port_printer.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>

#include "host/printer/status_words.h"
#include "host/printing/card_counter.h"
#include "host/printing/progress.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/sync.h"

namespace zrtmon::host {
namespace {

// Rounds that report nothing written are normal: the monitor sends a piece of its buffer in each. After this
// many without a byte through the lower port it is stuck, and offering more often is useless.
constexpr unsigned kIdleRounds = 1000;

/// Yields the processor between two offers; for longer while no byte moves.
class COfferPause {
public:
    void Rest(uint64_t movedBytes)
    {
        m_idleRounds = movedBytes == m_movedBytes ? m_idleRounds + 1 : 0;
        m_movedBytes = movedBytes;
        Sleep(m_idleRounds > kIdleRounds ? 1 : 0);
    }

private:
    uint64_t m_movedBytes = 0;
    unsigned m_idleRounds = 0;
};

/// Offers the job's data, piece by piece, until the monitor has accepted all of it. All calls of a document
/// are made on one thread, as a spooler makes them: the monitor's mutexes belong to it.
class CPortJob final : public IPrintJob {
public:
    CPortJob(CPortPrinter& printer, CSpoolerSession& session, CJobSource& source, uint32_t pieceBytes,
             const CHostEnvironment& environment)
        : m_printer(printer), m_session(session), m_source(source), m_pieceBytes(pieceBytes),
          m_started(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        m_thread = environment.startThread([this] { Run(); });
        WaitForSingleObject(m_started.Get(), INFINITE);
        if (!m_document) {
            m_thread.reset();
            std::rethrow_exception(m_error);
        }
    }
    ~CPortJob() override
    {
        if (!WaitForEnd(0)) {
            Delete();
        }
    }
    CPortJob(const CPortJob&) = delete;
    CPortJob& operator=(const CPortJob&) = delete;

    bool WaitForEnd(DWORD milliseconds) override
    {
        return WaitForSingleObject(m_done.Get(), milliseconds) == WAIT_OBJECT_0;
    }

    CJobView View() override
    {
        const CPublishedValues values = m_session.PublishedValues();
        return {m_takenBytes, m_source.TotalBytes(), m_isFinishing, CardsPrinted(values), {.values = values}};
    }

    void Delete() override;
    CJobOutcome Outcome() override;

private:
    void Run() noexcept;
    void Offer();
    void AskAfterwards();
    void DeleteDocument();
    CQueriedNumber QueryDevice(const std::string& name);
    std::optional<int> CardsPrinted(const CPublishedValues& values) const;
    void ThrowFailure() const;
    std::string CardProblem(const std::optional<int>& cards) const;

    CPortPrinter& m_printer;
    CSpoolerSession& m_session;
    CJobSource& m_source;
    const uint32_t m_pieceBytes;
    CHandle m_started; ///< manual-reset event: the document is open, or could not be opened
    CHandle m_done;    ///< manual-reset event: the document has ended
    std::atomic<uint64_t> m_takenBytes = 0;
    std::atomic<bool> m_isFinishing = false;
    std::atomic<bool> m_isDeleted = false;
    // Set by the thread until the start.
    std::optional<int> m_baseCount; ///< the printer's count before the job; std::nullopt if unknown
    std::optional<CDocument> m_document;
    // Set by the thread until the end; without a document, until the start.
    std::exception_ptr m_error;
    bool m_ended = false;
    CQueriedNumber m_category = {};           ///< after the document
    std::optional<int> m_cardCount;           ///< likewise, of a USB printer
    CCardCounter m_counter;                   ///< of a job for a USB printer
    std::unique_ptr<IRunningThread> m_thread; ///< last: the others outlive it
};

void CPortJob::Run() noexcept
{
    try {
        m_baseCount = QueryDevice("CardCount").value;
        m_document.emplace(m_session, WideFromUtf8(DisplayPath(m_source.Path().filename())));
        SetEvent(m_started.Get());
        Offer();
    } catch (...) {
        m_error = std::current_exception();
        if (m_document) {
            DeleteDocument(); // half a job must not end like a whole one
        }
    }
    if (m_document) {
        m_isFinishing = true;
        m_ended = m_document->End();
        AskAfterwards();
    }
    SetEvent(m_started.Get());
    SetEvent(m_done.Get());
}

/// The kernel's USB driver never reports that a transfer failed after it was submitted: there the cards
/// count.
void CPortJob::AskAfterwards()
{
    if (m_session.DocumentFailure()) {
        return;
    }
    try {
        m_category = QueryDevice("PrinterError");
        if (m_session.Kind() == PortKind::UsbPrinter) {
            m_cardCount = QueryDevice("CardCount").value;
        }
    } catch (const std::bad_alloc&) {
        m_error = std::current_exception();
    }
}

void CPortJob::Offer()
{
    COfferPause pause;
    for (std::span<char> piece = m_source.Piece(m_pieceBytes); !piece.empty() && !m_isDeleted;
         piece = m_source.Piece(m_pieceBytes)) {
        const DWORD written = m_document->Write(piece);
        if (m_session.Kind() == PortKind::UsbPrinter) {
            m_counter.Add({piece.data(), written});
        }
        m_source.Take(written);
        m_takenBytes += written;
        if (written > 0) {
            continue;
        }
        // The monitor reports a failed device like a busy one, and would be offered the bytes for ever.
        if (m_session.Failure()) {
            DeleteDocument();
            return;
        }
        pause.Rest(m_session.MovedBytes());
    }
}

void CPortJob::Delete()
{
    DeleteDocument();
    m_isDeleted = true;
}

void CPortJob::DeleteDocument()
{
    // A cancel command that waited for its turn at a network printer would cancel another client's job.
    if (m_session.Kind() == PortKind::NetworkPrinter && !m_session.HasReplied()) {
        m_session.AbandonDocument();
    }
    // The job first: the monitor checks its state as soon as the document ends.
    m_document->DeleteJob();
}

CJobOutcome CPortJob::Outcome()
{
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    ThrowFailure();
    CJobOutcome outcome{.values = m_session.PublishedValues()};
    outcome.values.cardCount = m_cardCount ? m_cardCount : outcome.values.cardCount;
    outcome.cards = CardsPrinted(outcome.values);
    outcome.values.printerError = m_category.value;
    if (m_isDeleted) {
        return outcome;
    }
    const auto fail = [&](ExitStatus status, const std::string& problem) {
        outcome.status = status;
        outcome.problem = problem;
        return outcome;
    };
    if (!m_ended) {
        return fail(ExitStatus::NoDevice, "cannot end the document on this port");
    }
    if (m_session.HasDevice() && !m_category.value) {
        return fail(QueryStatus(m_category.error),
                    "cannot tell whether the job was printed: " + m_session.QueryErrorText(m_category.error));
    }
    const int categoryNumber = m_category.value.value_or(kNoErrorCategory);
    if (categoryNumber != kNoErrorCategory) {
        return fail(ExitStatus::PrinterError,
                    "the printer reports an error: " +
                        ErrorReason(categoryNumber, outcome.values.deviceError.value_or(0)));
    }
    const std::string problem = CardProblem(outcome.cards);
    return problem.empty() ? outcome : fail(ExitStatus::PrinterError, problem);
}

void CPortJob::ThrowFailure() const
{
    const std::optional<sim::PortFailure> failure = m_session.DocumentFailure();
    if (!failure) {
        return;
    }
    const uint64_t total = m_source.TotalBytes();
    throw CHostError(FailureStatus(*failure), Printable(failure->text) + " (at most " +
                                                  std::to_string(std::min(failure->bytesTaken, total)) +
                                                  " of " + std::to_string(total) +
                                                  " bytes have reached it; the job is deleted)");
}

std::string CPortJob::CardProblem(const std::optional<int>& cards) const
{
    if (m_session.Kind() != PortKind::UsbPrinter || !cards || *cards == m_counter.Cards()) {
        return {};
    }
    return "the job has " + CardCountText(m_counter.Cards()) + ", and the printer counted " +
           std::to_string(*cards) + ": check what was printed, and print what is missing again";
}

CQueriedNumber CPortJob::QueryDevice(const std::string& name)
{
    return m_session.HasDevice() ? QueryNumber(m_printer, name) : CQueriedNumber{};
}

std::optional<int> CPortJob::CardsPrinted(const CPublishedValues& values) const
{
    if (!m_baseCount || !values.cardCount) {
        return std::nullopt;
    }
    return std::max(0, *values.cardCount - *m_baseCount);
}

} // namespace

CPortPrinter::CPortPrinter(const CSessionOptions& options, const CHostEnvironment& environment)
    : m_environment(environment), m_port(options.port), m_session(options, environment)
{
}

std::string CPortPrinter::Name() const { return Utf8FromWide(m_session.PrinterName()); }

std::string CPortPrinter::Place() const { return PrintableInput(m_port); }

CPrinterState CPortPrinter::ReadState()
{
    // The end of a document always resets "PrinterError" to 1, so that value is queried by name.
    const CQueriedNumber category = QueryNumber(*this, "PrinterError");
    if (!category.value) {
        throw CHostError(QueryStatus(category.error), "PrinterError: " + QueryProblem(*this, category));
    }
    CDocument document(m_session, L"status");
    if (!document.End()) {
        throw CHostError(ExitStatus::NoDevice, "cannot end the document on this port");
    }
    m_session.ThrowFailure();
    CPrinterState state{.values = PublishedValues()};
    state.values.printerError = category.value;
    return state;
}

bool CPortPrinter::WaitForChange(DWORD milliseconds)
{
    Sleep(milliseconds);
    return false;
}

std::unique_ptr<IPrintJob> CPortPrinter::Print(CJobSource& source, uint32_t pieceBytes)
{
    return std::make_unique<CPortJob>(*this, m_session, source, pieceBytes, m_environment);
}

} // namespace zrtmon::host
