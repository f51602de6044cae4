#include "service/backend/print_session.h"

#include "host/printer/status_words.h"
#include "host/text/text.h"
#include "platform/wipe.h"

namespace zrtmon::backend {
namespace {

constexpr char kRibbonName[] = "RibbonInfo";
constexpr char kDisplayName[] = "LCDInfo";
constexpr wchar_t kLastCharacter = 0xFF;

std::string HowFar(const CJobStatus& job)
{
    return std::to_string(job.cards) + (job.cards == 1 ? " card, " : " cards, ") + host::ByteCount(job.bytes);
}

/// "15 min"; the largest unit without a remainder.
std::string Period(int64_t ms)
{
    const int64_t seconds = ms / 1000;
    return seconds % 60 == 0 ? std::to_string(seconds / 60) + " min" : std::to_string(seconds) + " s";
}

std::string Words(const CJobStatus& job)
{
    if (job.state == "waiting") {
        return job.reason.empty() ? "waiting for its turn" : "waiting: " + job.reason;
    }
    if (job.state == "held") {
        return "held: " + (job.reason.empty() ? host::CategoryWords(job.category) : job.reason);
    }
    return job.state == "finishing" ? "all data sent, waiting for the printer" : "printing, " + HowFar(job);
}

bool HasEnded(const CJobStatus& job)
{
    return job.state == "completed" || job.state == "cancelled" || job.state == "failed" ||
           job.state == "interrupted";
}

/// The keyword of a job's state; empty: none.
std::string_view KeywordOf(const CJobStatus& job)
{
    if (job.wantsPassword) {
        return kPasswordNeeded;
    }
    if (job.state != "held") {
        return {};
    }
    // Held without an error of the printer: it cannot be reached.
    return job.category == host::kNoErrorCategory ? kConnecting : StateKeyword(job.category);
}

/// Turns UTF-8 into the printer's 8-bit text. False if it has characters that the printer does not know.
bool Convert(std::string_view text, CSecret& password)
{
    std::wstring characters = host::WideFromUtf8(text);
    bool isValid = true;
    for (const wchar_t character : characters) {
        isValid = isValid && character > 0 && character <= kLastCharacter &&
                  password.Append(static_cast<char>(character));
    }
    Wipe(characters);
    return isValid;
}

} // namespace

CPrintSession::CPrintSession(CSettings settings, CSecret& password, IPrintService& service,
                             CStatusLines& lines, CClock clock)
    : m_settings(std::move(settings)), m_password(password), m_service(service), m_lines(lines),
      m_clock(std::move(clock))
{
}

void CPrintSession::Start()
{
    m_lines.Set({kConnecting});
    Offer();
}

void CPrintSession::Offer()
{
    if (!m_settings.isHeard()) {
        Hold("cupsd has ended");
        return;
    }
    m_step = Step::Offered;
    m_deadline.reset();
    m_service.Print(m_settings.order);
}

void CPrintSession::Stop()
{
    if (m_exitStatus) {
        return;
    }
    m_isStopped = true;
    if (m_step == Step::Offered) {
        m_deadline = m_clock() + kOfferMs; // it cannot be cancelled before the service has replied
        return;
    }
    if (m_step != Step::Waiting && !m_service.Cancel()) {
        Hold("stopped, and the print service does not confirm the cancel: it may print this job");
        return;
    }
    Hold("stopped after " + HowFar(m_job));
}

void CPrintSession::OnTime()
{
    if (m_exitStatus || !m_deadline || m_clock() < *m_deadline) {
        return;
    }
    m_deadline.reset();
    switch (m_step) {
    case Step::Waiting:
        Offer();
        break;
    case Step::Offered:
        Hold("stopped, and the print service does not reply: it may print this job");
        break;
    case Step::Accepted:
        GiveUpWaiting();
        break;
    case Step::Cancelled:
        Hold("cancelled because no password was given; the printer has not confirmed it");
        break;
    }
}

void CPrintSession::GiveUpWaiting()
{
    m_step = Step::Cancelled;
    m_deadline = m_clock() + kCancelMs;
    m_service.Cancel();
}

void CPrintSession::OnAccepted()
{
    if (m_exitStatus || m_step != Step::Offered) {
        return;
    }
    m_step = Step::Accepted;
    m_job = {};
    m_retryMs = kFirstRetryMs;
    m_deadline.reset();
    if (m_isStopped) {
        m_service.Cancel();
        Hold("stopped before it was printed");
        return;
    }
    m_lines.Set({});
    m_service.Query(m_settings.order.printer, kRibbonName);
}

void CPrintSession::OnRefused(Refusal refusal, const std::string& message)
{
    if (m_exitStatus || m_step != Step::Offered) {
        return;
    }
    if (m_isStopped || refusal != Refusal::NotNow) {
        Hold(message);
        return;
    }
    RetryLater(message);
}

void CPrintSession::RetryLater(const std::string& why)
{
    m_step = Step::Waiting;
    m_deadline = m_clock() + m_retryMs;
    m_retryMs = std::min(2 * m_retryMs, kLongestRetryMs);
    m_lines.Set({kConnecting});
    m_lines.Info("waiting: " + why);
}

void CPrintSession::OnServiceLost()
{
    if (m_exitStatus || m_step == Step::Waiting) {
        return;
    }
    if (m_isStopped || m_step == Step::Cancelled || m_settings.order.uuid.empty()) {
        // Without a uuid the service could not say whether it was printed.
        Hold("the print service ended when the job was at " + HowFar(m_job));
        return;
    }
    RetryLater("the print service has ended");
}

void CPrintSession::OnJobChanged(const CJobStatus& job)
{
    if (m_exitStatus || (m_step != Step::Accepted && m_step != Step::Cancelled)) {
        return;
    }
    m_lines.Cards(job.cards);
    if (HasEnded(job)) {
        EndOf(job);
        return;
    }
    ShowState(job);
    if (m_step == Step::Accepted) {
        WaitForPassword(job);
    }
    m_job = job;
}

void CPrintSession::ShowState(const CJobStatus& job)
{
    const std::string_view keyword = KeywordOf(job);
    m_lines.Set(keyword.empty() ? std::set<std::string_view>{} : std::set{keyword});
    if (keyword != kOtherError) {
        m_display.clear();
    } else if (KeywordOf(m_job) != kOtherError) {
        m_service.Query(m_settings.order.printer, kDisplayName);
    }
    m_lines.Info(m_display.empty() ? Words(job) : Words(job) + ", display: " + m_display);
}

void CPrintSession::WaitForPassword(const CJobStatus& job)
{
    if (!job.wantsPassword) {
        m_deadline.reset();
        return;
    }
    if (m_job.wantsPassword) {
        return;
    }
    if (m_settings.holdAfterMs > 0) {
        m_deadline = m_clock() + m_settings.holdAfterMs;
    }
    SupplyPassword();
}

void CPrintSession::SupplyPassword()
{
    if (m_password.Text().empty()) {
        return;
    }
    CSecret text;
    const bool isValid = Convert(m_password.Text(), text);
    m_password.Clear();
    if (!isValid || !m_service.SupplyPassword(text.Text())) {
        m_lines.Info("held: the password that came with the job cannot be used; another is needed");
    }
}

void CPrintSession::OnAnswer(const std::string& valueName, const std::string& answer)
{
    if (m_exitStatus) {
        return;
    }
    if (valueName == kRibbonName) {
        m_lines.Ribbon(answer);
    } else if (m_step == Step::Accepted && KeywordOf(m_job) == kOtherError) {
        m_display = answer;
        ShowState(m_job);
    }
}

void CPrintSession::EndOf(const CJobStatus& job)
{
    if (job.state == "completed") {
        m_lines.Info("printed, " + HowFar(job));
        End(kPrinted);
        return;
    }
    if (m_step == Step::Accepted && job.state == "interrupted" && job.bytes == 0 &&
        !m_settings.order.uuid.empty()) {
        RetryLater(job.reason); // nobody ended it: the service or the printer was taken away
        return;
    }
    if (m_settings.isHeard()) {
        // The person who releases the job has been told how far it got: that release prints from the
        // beginning.
        m_service.Acknowledge();
    }
    const std::string end = job.state + " after " + HowFar(job);
    if (m_step == Step::Cancelled) {
        Hold("no password within " + Period(m_settings.holdAfterMs) + ": " + end);
        return;
    }
    Hold(job.reason.empty() ? end : end + ": " + job.reason);
}

void CPrintSession::Hold(const std::string& why)
{
    m_lines.Error("held: " + why);
    End(kHeld);
}

void CPrintSession::End(int exitStatus)
{
    m_password.Clear();
    m_lines.Set({});
    m_deadline.reset();
    m_exitStatus = exitStatus;
}

} // namespace zrtmon::backend
