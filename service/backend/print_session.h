#pragma once

#include <functional>
#include <optional>

#include "platform/secret.h"
#include "service/backend/print_service.h"
#include "service/backend/status_lines.h"

namespace zrtmon::backend {

/// Backend exit statuses of CUPS. The others are never used: after 1 the queue's error policy may drop the
/// job or stop the queue, 6 drops it after five attempts, 7 starts it again dozens of times a second.
inline constexpr int kPrinted = 0;
inline constexpr int kHeld = 3;

/// One job of CUPS at the service, from its first offer to the exit status. It waits in place for as long as
/// the service or the printer cannot take the job; it then ends with kPrinted, or with kHeld and a line that
/// says why.
class CPrintSession final : public IPrintEvents {
public:
    static constexpr int64_t kFirstRetryMs = 1000; ///< doubles up to the longest
    static constexpr int64_t kLongestRetryMs = 30000;
    static constexpr int64_t kCancelMs = 30000; ///< so long for the end of a job that was cancelled
    static constexpr int64_t kOfferMs = 5000;   ///< so long, once stopped, for the reply to an offer

    struct CSettings {
        CPrintOrder order;
        int64_t holdAfterMs = 0; ///< 0: never
        /// Whether the cupsd that started this backend still runs. The next cupsd starts the job again by
        /// itself, and what the service says of how far a job got must not be said to a backend that nobody
        /// hears.
        std::function<bool()> isHeard;
    };
    using CClock = std::function<int64_t()>; ///< milliseconds, never backwards

    /// service, lines and password are borrowed for the session's life. password (UTF-8; may be empty) is
    /// supplied when the job is first at the gate, and wiped then, or with the end of the session.
    CPrintSession(CSettings settings, CSecret& password, IPrintService& service, CStatusLines& lines,
                  CClock clock);

    void Start();
    /// CUPS wants the job to stop: cancels it at the printer.
    void Stop();
    /// To be called at the deadline.
    void OnTime();
    std::optional<int64_t> Deadline() const { return m_deadline; }
    /// Set when the session has ended.
    std::optional<int> ExitStatus() const { return m_exitStatus; }

    void OnAccepted() override;
    void OnRefused(Refusal refusal, const std::string& message) override;
    void OnJobChanged(const CJobStatus& job) override;
    void OnAnswer(const std::string& valueName, const std::string& answer) override;
    void OnServiceLost() override;

private:
    enum class Step {
        Waiting,  ///< the job is not at the service; the deadline is the next offer
        Offered,  ///< the service has not replied yet
        Accepted, ///< it is the service's; the deadline, if there is one, is the end of the wait for a
                  ///< password
        Cancelled ///< it is to end, because no password came
    };

    void Offer();
    void RetryLater(const std::string& why);
    void WaitForPassword(const CJobStatus& job);
    void SupplyPassword();
    void ShowState(const CJobStatus& job);
    void GiveUpWaiting();
    void EndOf(const CJobStatus& job);
    void End(int exitStatus);
    void Hold(const std::string& why);

    const CSettings m_settings;
    CSecret& m_password;
    IPrintService& m_service;
    CStatusLines& m_lines;
    const CClock m_clock;

    Step m_step = Step::Waiting;
    CJobStatus m_job;
    std::string m_display; ///< the printer's display while an error holds the job; empty: not known
    int64_t m_retryMs = kFirstRetryMs;
    bool m_isStopped = false;
    std::optional<int64_t> m_deadline;
    std::optional<int> m_exitStatus;
};

} // namespace zrtmon::backend
