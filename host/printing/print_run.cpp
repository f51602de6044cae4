#include "host/printing/print_run.h"

#include "host/printer/status_words.h"
#include "host/printing/query_poller.h"
#include "host/text/text.h"
#include "platform/sync.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kWatchMs = 50;

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

CPrintRun::CPrintRun(IPrinter& printer, const CPrintOptions& options, CHostEnvironment& environment,
                     CConsole& console)
    : m_printer(printer), m_options(options), m_environment(environment), m_console(console)
{
}

ExitStatus CPrintRun::Run(CJobSource& source)
{
    const std::unique_ptr<IPrintJob> job = m_printer.Print(source, m_options.pieceBytes);
    m_startTick = GetTickCount();
    Follow(*job);
    m_console.ClearProgress();
    const CJobOutcome outcome = job->Outcome();
    ReportEnd(job->View(), outcome);
    ReportValues(outcome.values);
    return Conclude(outcome);
}

void CPrintRun::Follow(IPrintJob& job)
{
    const CHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CQueryPoller queryPoller(m_printer, m_console, m_options.askNames, m_startTick);
    std::unique_ptr<IRunningThread> asker;
    // Declared after the thread, so destroyed first: it stops it before its destructor waits for it.
    const CEventSetter eventSetter(done.Get());
    if (!m_options.askNames.empty() && m_printer.HasDevice()) {
        asker = m_environment.startThread([&] { queryPoller.Run(done.Get()); });
    }
    CProgress progress(m_console);
    CStallDetector detector(m_startTick);
    CPasswordReader reader(m_environment, m_console);
    CPasswordSupply supply(m_printer, reader, m_console);
    do {
        const CJobView view = Poll(job, detector);
        progress.Show(view, detector);
        SupplyPassword(job, detector, view, supply);
    } while (!job.WaitForEnd(kWatchMs));
}

/// Returns the state of the job, and deletes the job if there is a reason to.
CJobView CPrintRun::Poll(IPrintJob& job, CStallDetector& detector)
{
    const DWORD now = GetTickCount();
    CJobView view = job.View();
    detector.Update(now, view);
    if (m_environment.wasInterrupted()) {
        DeleteJob(job, Stop::Interrupted, "interrupted: deleting the job");
    } else if (m_options.giveUpSeconds > 0 && detector.HeldMs(now) >= m_options.giveUpSeconds * 1000) {
        DeleteJob(job, Stop::GaveUp, "held longer than --give-up allows: deleting the job");
    }
    return view;
}

/// Reads a password if the printer needs one, and keeps polling the job meanwhile.
void CPrintRun::SupplyPassword(IPrintJob& job, CStallDetector& detector, const CJobView& view,
                               CPasswordSupply& supply)
{
    const auto isNoLongerWanted = [&] {
        const bool isWanted = Poll(job, detector).state.values.printerError == kPasswordCategory;
        return !isWanted || m_stop != Stop::No || job.WaitForEnd(0);
    };
    if (m_stop != Stop::No || m_hasNoInput || supply.Poll(view.state.values, isNoLongerWanted)) {
        return;
    }
    m_hasNoInput = true;
    if (m_printer.IsShared()) {
        m_console.Message(
            "no more passwords on standard input: the job waits until another program gives one",
            Tone::Warning);
    } else {
        DeleteJob(job, Stop::NoPassword, "no more passwords on standard input: deleting the job");
    }
}

/// Takes effect once: the first reason counts.
void CPrintRun::DeleteJob(IPrintJob& job, Stop reason, const char* message)
{
    if (m_stop != Stop::No) {
        return;
    }
    m_console.Message(message, Tone::Warning);
    m_stop = reason;
    job.Delete();
}

void CPrintRun::ReportEnd(const CJobView& view, const CJobOutcome& outcome)
{
    const bool isWhole = m_stop == Stop::No && outcome.problem.empty() && view.takenBytes == view.totalBytes;
    std::string line = isWhole ? "printed: " : "not completed: ";
    line += outcome.cards ? CardCountText(*outcome.cards) + (isWhole ? ", " : " printed, ") : "";
    line += ByteCount(view.takenBytes) + (isWhole ? "" : " of " + ByteCount(view.totalBytes) + " accepted");
    line += ", " + Seconds(GetTickCount() - m_startTick) + " s";
    m_console.Message(line, isWhole ? Tone::Good : Tone::Warning);
}

void CPrintRun::ReportValues(const CPublishedValues& values)
{
    if (!m_printer.HasDevice()) {
        return;
    }
    m_console.Answer("PrinterStatus=" + ValueText(values.printerStatus));
    m_console.Answer("PrinterError=" + ValueText(values.printerError));
    m_console.Answer("DeviceError=" + ValueText(values.deviceError));
    m_console.Answer("CardCount=" + ValueText(values.cardCount));
}

ExitStatus CPrintRun::Conclude(const CJobOutcome& outcome) const
{
    switch (m_stop) {
    case Stop::Interrupted:
        return ExitStatus::Interrupted;
    case Stop::GaveUp:
        return ExitStatus::PrinterError;
    case Stop::NoPassword:
        return ExitStatus::NoPermission;
    case Stop::No:
        break;
    }
    if (!outcome.problem.empty()) {
        throw CHostError(outcome.status, outcome.problem);
    }
    return ExitStatus::Done;
}

} // namespace zrtmon::host
