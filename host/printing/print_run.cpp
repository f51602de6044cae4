#include "host/printing/print_run.h"

#include <algorithm>

#include "host/printer/status_words.h"
#include "host/printing/query_poller.h"
#include "host/session/query.h"
#include "host/text/file.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kWatchMs = 50;
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

/// Sets the event at the end of a scope, so that no thread keeps waiting for it.
class CEventSetter {
public:
    explicit CEventSetter(HANDLE event) : m_event(event) {}
    ~CEventSetter() { SetEvent(m_event); }
    CEventSetter(const CEventSetter&) = delete;
    CEventSetter& operator=(const CEventSetter&) = delete;

private:
    HANDLE m_event;
};

std::string ValueText(const std::optional<int>& value)
{
    return value ? std::to_string(*value) : "(not published)";
}

} // namespace

CPrintRun::CPrintRun(CSpoolerSession& session, const CPrintOptions& options, CHostEnvironment& environment,
                     CConsole& console)
    : m_session(session), m_options(options), m_environment(environment), m_console(console),
      m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
}

ExitStatus CPrintRun::Run(CJobSource& source)
{
    m_totalBytes = source.TotalBytes();
    CProgress progress(m_console, QueryDevice("CardCount").value);
    const bool ended = Print(source, progress);
    m_console.ClearProgress();
    if (const std::optional<sim::PortFailure> failure = m_session.Failure()) {
        ThrowFailure(*failure);
    }
    const CQueriedNumber category = QueryDevice("PrinterError");
    ReportEnd(progress);
    ReportValues(category.value);
    const ExitStatus status = Conclude(ended, category);
    if (status == ExitStatus::Done) {
        CheckCards(progress);
    }
    return status;
}

void CPrintRun::ThrowFailure(const sim::PortFailure& failure) const
{
    throw CHostError(FailureStatus(failure), Printable(failure.text) + " (at most " +
                                                 std::to_string(std::min(failure.bytesTaken, m_totalBytes)) +
                                                 " of " + std::to_string(m_totalBytes) +
                                                 " bytes have reached it; the job is deleted)");
}

/// The kernel's USB driver never reports that a transfer failed after it was submitted.
void CPrintRun::CheckCards(const CProgress& progress) const
{
    const std::optional<int> printed = progress.CardsPrinted(m_session.PublishedValues());
    if (m_session.Kind() != PortKind::UsbPrinter || !printed || *printed == m_cards.Cards()) {
        return;
    }
    throw CHostError(ExitStatus::PrinterError,
                     "the job has " + CardCountText(m_cards.Cards()) + ", and the printer counted " +
                         std::to_string(*printed) +
                         ": check what was printed, and print what is missing again");
}

CQueriedNumber CPrintRun::QueryDevice(const std::string& name)
{
    if (!m_session.HasDevice()) {
        return {};
    }
    return QueryNumber(m_session, name);
}

bool CPrintRun::Print(CJobSource& source, CProgress& progress)
{
    m_startTick = GetTickCount();
    CDocument document(m_session, WideFromUtf8(DisplayPath(source.Path().filename())));
    CQueryPoller queryPoller(m_session, m_console, m_options.askNames, m_startTick);
    const auto watcher = m_environment.startThread([&] { Watch(document, progress); });
    std::unique_ptr<IRunningThread> asker;
    // Declared after the threads, so destroyed first: it stops them before their destructors wait for them.
    const CEventSetter eventSetter(m_done.Get());
    if (!m_options.askNames.empty() && m_session.HasDevice()) {
        asker = m_environment.startThread([&] { queryPoller.Run(m_done.Get()); });
    }
    Offer(document, source);
    m_finishing = true;
    return document.End();
}

/// The whole job, or up to where it is stopped.
void CPrintRun::Offer(CDocument& document, CJobSource& source)
{
    try {
        OfferAll(document, source);
    } catch (const CHostError&) {
        document.DeleteJob(); // half a job must not end like a whole one
        throw;
    }
    if (m_stop == Stop::DeviceFailed) {
        document.DeleteJob();
    }
}

void CPrintRun::OfferAll(CDocument& document, CJobSource& source)
{
    COfferPause pause;
    for (std::span<char> piece = source.Piece(m_options.pieceBytes); !piece.empty() && m_stop == Stop::No;
         piece = source.Piece(m_options.pieceBytes)) {
        const DWORD written = document.Write(piece);
        if (m_session.Kind() == PortKind::UsbPrinter) {
            m_cards.Add({piece.data(), written});
        }
        source.Take(written);
        m_takenBytes += written;
        if (written == 0) {
            // The monitor reports a failed device like a busy one, and would be offered the bytes for ever.
            if (m_session.Failure()) {
                m_stop = Stop::DeviceFailed;
            }
            pause.Rest(m_session.MovedBytes());
        }
    }
}

void CPrintRun::Watch(CDocument& document, CProgress& progress)
{
    CStallDetector detector(m_startTick);
    CPasswordReader reader(m_environment, m_console);
    CPasswordSupply supply(m_session, reader, m_console);
    do {
        const CPrintView view = Poll(document, detector);
        progress.Show(view, detector);
        SupplyPassword(document, detector, view, supply);
    } while (WaitForSingleObject(m_done.Get(), kWatchMs) == WAIT_TIMEOUT);
}

/// Returns the state of the job, and deletes the job if there is a reason to.
CPrintView CPrintRun::Poll(CDocument& document, CStallDetector& detector)
{
    const DWORD now = GetTickCount();
    CPrintView view = View();
    detector.Update(now, view);
    if (m_environment.wasInterrupted()) {
        DeleteJob(document, Stop::Interrupted, "interrupted: deleting the job");
    } else if (m_options.giveUpSeconds > 0 && detector.HeldMs(now) >= m_options.giveUpSeconds * 1000) {
        DeleteJob(document, Stop::GaveUp, "held longer than --give-up allows: deleting the job");
    }
    return view;
}

/// Reads a password if the printer needs one, and keeps polling the job meanwhile.
void CPrintRun::SupplyPassword(CDocument& document, CStallDetector& detector, const CPrintView& view,
                               CPasswordSupply& supply)
{
    const auto isNoLongerWanted = [&] {
        const bool isWanted = Poll(document, detector).values.printerError == kPasswordCategory;
        return !isWanted || m_stop != Stop::No || WaitForSingleObject(m_done.Get(), 0) == WAIT_OBJECT_0;
    };
    if (m_stop == Stop::No && !supply.Poll(view.values, isNoLongerWanted)) {
        DeleteJob(document, Stop::NoPassword, "no more passwords on standard input: deleting the job");
    }
}

/// Takes effect once: the first reason counts.
void CPrintRun::DeleteJob(CDocument& document, Stop reason, const char* message)
{
    if (m_stop != Stop::No) {
        return;
    }
    m_console.Message(message, Tone::Warning);
    // A cancel command that waited for its turn at a network printer would cancel another client's job.
    if (m_session.Kind() == PortKind::NetworkPrinter && !m_session.HasReplied()) {
        m_session.AbandonDocument();
    }
    // The job first: the monitor checks its state as soon as the document ends.
    document.DeleteJob();
    m_stop = reason;
}

CPrintView CPrintRun::View() const
{
    return {m_takenBytes, m_totalBytes, m_finishing, m_session.PublishedValues()};
}

void CPrintRun::ReportEnd(const CProgress& progress)
{
    const bool isWhole = m_stop == Stop::No && m_takenBytes == m_totalBytes;
    const std::optional<int> cards = progress.CardsPrinted(m_session.PublishedValues());
    std::string line = isWhole ? "printed: " : "not completed: ";
    line += cards ? CardCountText(*cards) + (isWhole ? ", " : " printed, ") : "";
    line += ByteCount(m_takenBytes) + (isWhole ? "" : " of " + ByteCount(m_totalBytes) + " accepted");
    line += ", " + Seconds(GetTickCount() - m_startTick) + " s";
    m_console.Message(line, isWhole ? Tone::Good : Tone::Warning);
}

void CPrintRun::ReportValues(const std::optional<int>& category)
{
    if (!m_session.HasDevice()) {
        return;
    }
    const CPublishedValues values = m_session.PublishedValues();
    m_console.Answer("PrinterStatus=" + ValueText(values.printerStatus));
    m_console.Answer("PrinterError=" + ValueText(category));
    m_console.Answer("DeviceError=" + ValueText(values.deviceError));
    m_console.Answer("CardCount=" + ValueText(values.cardCount));
}

ExitStatus CPrintRun::Conclude(bool ended, const CQueriedNumber& category)
{
    switch (m_stop) {
    case Stop::Interrupted:
        return ExitStatus::Interrupted;
    case Stop::GaveUp:
        return ExitStatus::PrinterError;
    case Stop::NoPassword:
        return ExitStatus::NoPermission;
    case Stop::DeviceFailed: // was thrown
    case Stop::No:
        break;
    }
    if (!ended) {
        throw CHostError(ExitStatus::NoDevice, "cannot end the document on this port");
    }
    if (m_session.HasDevice() && !category.value) {
        throw CHostError(QueryStatus(category.error), "cannot tell whether the job was printed: " +
                                                          QueryErrorText(m_session, category.error));
    }
    const int categoryNumber = category.value.value_or(kNoErrorCategory);
    if (categoryNumber != kNoErrorCategory) {
        const int code = m_session.PublishedValues().deviceError.value_or(0);
        throw CHostError(ExitStatus::PrinterError,
                         "the printer reports an error: " + ErrorReason(categoryNumber, code));
    }
    return ExitStatus::Done;
}

} // namespace zrtmon::host
