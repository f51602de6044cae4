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
#include "host/printing/progress.h"
#include "host/session/query.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"
#include "platform/sync.h"

namespace zrtmon::host {

struct CPrintOptions {
    uint32_t pieceBytes = 64 * 1024;   ///< offered at a time
    std::vector<std::string> askNames; ///< request texts that are asked while the job prints
    uint32_t giveUpSeconds = 0;        ///< of being held, then the job is deleted; 0: never
};

/// Prints one job: offers its data, piece by piece, until the monitor has taken it all, while a second
/// thread shows the progress and looks for reasons to stop, and a third asks the printer. Used once.
class CPrintRun {
public:
    /// Everything is lent for the life of the run.
    CPrintRun(CSpoolerSession& session, const CPrintOptions& options, CHostEnvironment& environment,
              CConsole& console);

    /// Prints the bytes, which stay as they are. Throws CHostError when the document does not start;
    /// otherwise the exit status tells how it ended.
    ExitStatus Run(std::string& bytes, const std::string& documentName);

private:
    enum class Stop { No, Interrupted, GaveUp, NoPassword };

    CQueriedNumber QueryDevice(const std::string& name);
    bool Print(std::string& bytes, const std::string& documentName, CProgress& progress);
    void Offer(std::string& bytes);
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
};

} // namespace zrtmon::host
