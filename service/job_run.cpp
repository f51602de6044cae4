#include "service/job_run.h"

#include <algorithm>
#include <ctime>
#include <poll.h>

#include "host/exit_status.h"
#include "host/printer/status_words.h"
#include "host/printing/progress.h"
#include "host/session/query.h"
#include "host/text/text.h"

namespace zrtmon::service {
namespace {

constexpr int kRetryMs = 5000;
// Queries of other clients come first when they are first; each holds the printer for some seconds at most.
constexpr unsigned kMostBusyTries = 12;

/// Between offers that the monitor does not take: not at all while bytes move, then a millisecond, as between
/// two cards, and longer while nothing moves, as when a person has to come.
class COfferPause {
public:
    void Rest(uint64_t movedBytes)
    {
        m_idleRounds = movedBytes == m_movedBytes ? m_idleRounds + 1 : 0;
        m_movedBytes = movedBytes;
        Sleep(m_idleRounds == 0 ? 0 : std::min(1 + m_idleRounds / kRoundsPerMs, kLongestRestMs));
    }

private:
    static constexpr DWORD kRoundsPerMs = 100;
    static constexpr DWORD kLongestRestMs = 20;

    uint64_t m_movedBytes = 0;
    DWORD m_idleRounds = 0;
};

/// Ends a document in the middle as a user would who deletes the job: half a job must not end like a whole
/// one.
class CDocumentEnd {
public:
    CDocumentEnd(std::unique_ptr<host::CDocument> document, CJobControl& control)
        : m_document(std::move(document)), m_control(control)
    {
    }
    ~CDocumentEnd()
    {
        if (!m_isWhole) {
            m_document->DeleteJob();
        }
        End();
    }
    CDocumentEnd(const CDocumentEnd&) = delete;
    CDocumentEnd& operator=(const CDocumentEnd&) = delete;

    host::CDocument& Document() { return *m_document; }

    void EndWhole()
    {
        m_isWhole = true;
        m_control.isFinishing = true;
        if (!End()) {
            throw host::CHostError(host::ExitStatus::NoDevice, "cannot end the document on this port");
        }
    }

private:
    bool End()
    {
        if (m_hasEnded) {
            return true;
        }
        m_hasEnded = true;
        const bool ended = m_document->End();
        m_control.SetDocument(nullptr, nullptr);
        return ended;
    }

    std::unique_ptr<host::CDocument> m_document;
    CJobControl& m_control;
    bool m_isWhole = false;
    bool m_hasEnded = false;
};

} // namespace

CJobResult CJobRun::Run(uint64_t id, const std::string& title)
{
    CJobResult result{JobOutcome::Failed, {}};
    try {
        result = Print(id, title);
    } catch (const std::exception& error) {
        // What the device itself reports says more than what the monitor makes of it.
        result.reason = DeviceProblem().value_or(error.what());
    }
    if (result.cards < 0 && m_control.hasStarted) {
        result.cards = CountCards();
    }
    return result;
}

CJobResult CJobRun::Print(uint64_t id, const std::string& title)
{
    if (!AwaitFirstBytes()) {
        return {JobOutcome::Cancelled, m_control.CancelReason()};
    }
    std::unique_ptr<host::CDocument> document = AwaitDocument(host::WideFromUtf8(title));
    if (!document) {
        return {JobOutcome::Cancelled, m_control.CancelReason()};
    }
    m_control.SetDocument(document.get(), &m_session);
    CDocumentEnd end(std::move(document), m_control);
    if (!m_control.IsCancelled()) {
        NoteStart(id);
        Offer(end.Document());
    }
    if (m_control.IsCancelled()) {
        return {JobOutcome::Cancelled, m_control.CancelReason()};
    }
    end.EndWhole();
    if (m_control.IsCancelled()) {
        return {JobOutcome::Cancelled, m_control.CancelReason()};
    }
    return Conclude();
}

/// The printer stays free for others while a client has nothing to print yet. False if the job was cancelled.
bool CJobRun::AwaitFirstBytes()
{
    m_piece = m_data.Next();
    if (m_piece.empty() && !m_control.IsCancelled()) {
        throw CJobDataError("there is no data, nothing to print");
    }
    return !m_control.IsCancelled();
}

/// Null if the job was cancelled.
std::unique_ptr<host::CDocument> CJobRun::AwaitDocument(const std::wstring& title)
{
    while (!m_control.IsCancelled()) {
        try {
            std::unique_ptr<host::CDocument> document = StartDocument(title);
            m_control.SetWaitReason({});
            return document;
        } catch (const host::CHostError& error) {
            m_control.SetWaitReason(error.what());
        }
        PauseBeforeRetry();
    }
    return nullptr;
}

std::unique_ptr<host::CDocument> CJobRun::StartDocument(const std::wstring& title)
{
    NoteBaseCount();
    m_session.ThrowFailure();
    auto document = std::make_unique<host::CDocument>(m_session, title);
    m_session.ThrowFailure();
    return document;
}

void CJobRun::NoteBaseCount()
{
    if (m_session.HasDevice()) {
        m_control.baseCount = QueryPatiently("CardCount").value.value_or(-1);
    }
}

/// Returns when the journal says that the first byte is about to leave, or when the job was cancelled. From
/// then on it counts as one that may have been printed.
void CJobRun::NoteStart(uint64_t id)
{
    while (!m_control.IsCancelled()) {
        try {
            m_storage.Run([&] { m_storage.Journal().Start(id, std::time(nullptr), m_control.baseCount); });
            m_control.SetWaitReason({});
            m_control.hasStarted = true;
            return;
        } catch (const CDatabaseError& error) {
            m_control.SetWaitReason(std::string("the journal cannot be written: ") + error.what());
        }
        PauseBeforeRetry();
    }
}

void CJobRun::PauseBeforeRetry() const
{
    pollfd wait{m_control.StopDescriptor(), POLLIN, 0};
    poll(&wait, 1, kRetryMs);
}

/// All data, or up to the cancel. Throws if the device or the data fails.
void CJobRun::Offer(host::CDocument& document)
{
    COfferPause pause;
    while (!m_piece.empty() && !m_control.IsCancelled()) {
        const DWORD written = document.Write(m_piece);
        m_cards.Add({m_piece.data(), written});
        m_piece = m_piece.subspan(written);
        m_control.bytes += written;
        if (m_piece.empty()) {
            m_piece = m_data.Next();
        } else if (written == 0) {
            // The monitor reports a failed device like a busy one, and would be offered the bytes for ever.
            m_session.ThrowFailure();
            pause.Rest(m_session.MovedBytes());
        }
    }
}

/// What failed at the device in the job's document, which has ended. Queries beside it may have failed or
/// succeeded since then.
std::optional<std::string> CJobRun::DeviceProblem()
{
    if (!m_control.hasStarted) {
        return std::nullopt; // the last document was another job's
    }
    const std::optional<sim::PortFailure> failure = m_session.DocumentFailure();
    return failure ? std::optional(failure->text) : std::nullopt;
}

/// The document has ended; what the printer says decides.
CJobResult CJobRun::Conclude()
{
    const int cards = CountCards();
    const bool isAllOut = cards > 0 && cards == m_cards.Cards();
    if (const std::optional<std::string> problem = DeviceProblem(); problem && !isAllOut) {
        return {JobOutcome::Failed, *problem, cards};
    }
    if (const std::optional<std::string> problem = PrinterProblem(cards)) {
        return {JobOutcome::Failed, *problem, cards};
    }
    return {JobOutcome::Completed, {}, cards};
}

/// Cards since the job began; -1 if unknown.
int CJobRun::CountCards()
{
    if (!m_session.HasDevice() || m_control.baseCount < 0) {
        return -1;
    }
    const std::optional<int> count = QueryPatiently("CardCount").value;
    return count ? std::max(0, *count - m_control.baseCount) : -1;
}

/// Why the job may not have been printed.
std::optional<std::string> CJobRun::PrinterProblem(int cards)
{
    if (!m_session.HasDevice() || cards == m_cards.Cards()) {
        return std::nullopt; // every card is out, whatever the printer lacks by now
    }
    // The kernel's USB driver never reports that a transfer failed after it was submitted.
    if (m_session.Kind() == host::PortKind::UsbPrinter && cards >= 0) {
        return "the job has " + host::CardCountText(m_cards.Cards()) + ", and the printer counted " +
               std::to_string(cards) + ": check what was printed, and print what is missing again";
    }
    const host::CQueriedNumber category = QueryPatiently("PrinterError");
    if (!category.value) {
        return "cannot tell whether the job was printed: " + m_session.QueryErrorText(category.error);
    }
    if (*category.value != host::kNoErrorCategory) {
        const int code = m_session.PublishedValues().deviceError.value_or(0);
        return "the printer reports an error: " + host::ErrorReason(*category.value, code);
    }
    return std::nullopt;
}

host::CQueriedNumber CJobRun::QueryPatiently(const std::string& name)
{
    host::CQueriedNumber number = host::NumberOf(m_session.Query(name));
    for (unsigned tries = 1; !number.value && number.error == ERROR_BUSY && tries < kMostBusyTries &&
                             !m_control.IsCancelled() && !m_session.Failure();
         ++tries) {
        number = host::NumberOf(m_session.Query(name));
    }
    return number;
}

} // namespace zrtmon::service
