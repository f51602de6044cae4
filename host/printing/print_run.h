/// The spooler's part in printing one job.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/environment.h"
#include "host/exit_status.h"
#include "host/passwords/password_supply.h"
#include "host/printing/card_counter.h"
#include "host/printing/job_source.h"
#include "host/printing/progress.h"
#include "host/session/query.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"
#include "platform/sync.h"

namespace zrtmon::host {

struct CPrintOptions {
    uint32_t pieceBytes = 64 * 1024;   ///< offered in one call
    std::vector<std::string> askNames; ///< queried while the job prints
    uint32_t giveUpSeconds = 0;        ///< a job that waits this long is deleted; 0: never
};

/// Prints one job: offers its data, piece by piece, until the monitor has accepted all of it. Meanwhile a
/// second thread shows the progress and checks for reasons to stop, and a third queries the printer. Used
/// once.
class CPrintRun {
public:
    /// The arguments are borrowed for the life of the run.
    CPrintRun(CSpoolerSession& session, const CPrintOptions& options, CHostEnvironment& environment,
              CConsole& console);

    /// Prints what the source has. Returns how the job ended. Throws CHostError if the document does not
    /// start, the device fails, or the result is unknown or an error.
    ExitStatus Run(CJobSource& source);

private:
    enum class Stop { No, Interrupted, GaveUp, NoPassword, DeviceFailed };

    CQueriedNumber QueryDevice(const std::string& name);
    bool Print(CJobSource& source, CProgress& progress);
    void Offer(CDocument& document, CJobSource& source);
    void OfferAll(CDocument& document, CJobSource& source);
    [[noreturn]] void ThrowFailure(const sim::PortFailure& failure) const;
    void CheckCards(const CProgress& progress) const;
    void Watch(CDocument& document, CProgress& progress);
    CPrintView Poll(CDocument& document, CStallDetector& detector);
    void SupplyPassword(CDocument& document, CStallDetector& detector, const CPrintView& view,
                        CPasswordSupply& supply);
    void DeleteJob(CDocument& document, Stop reason, const char* message);
    CPrintView View() const;
    void ReportEnd(const CProgress& progress);
    void ReportValues(const std::optional<int>& category);
    ExitStatus Conclude(bool ended, const CQueriedNumber& category);

    CSpoolerSession& m_session;
    const CPrintOptions& m_options;
    CHostEnvironment& m_environment;
    CConsole& m_console;

    CHandle m_done; ///< manual-reset event: the document has ended
    DWORD m_startTick = 0;
    uint64_t m_totalBytes = 0;
    std::atomic<uint64_t> m_takenBytes{0};
    std::atomic<bool> m_finishing{false};
    std::atomic<Stop> m_stop{Stop::No};
    CCardCounter m_cards; ///< of a job for a USB printer
};

} // namespace zrtmon::host
