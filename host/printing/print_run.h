/// Prints one job, and tells the user how it goes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/environment.h"
#include "host/exit_status.h"
#include "host/passwords/password_supply.h"
#include "host/places/printer.h"
#include "host/printing/job_source.h"
#include "host/printing/progress.h"
#include "host/printing/stall_detector.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

struct CPrintOptions {
    uint32_t pieceBytes = 64 * 1024;   ///< offered in one call
    std::vector<std::string> askNames; ///< queried while the job prints
    uint32_t giveUpSeconds = 0;        ///< a job that waits this long is deleted; 0: never
};

/// Submits a job, shows its progress, supplies passwords and checks for reasons to delete it, until it has
/// ended. Meanwhile a second thread queries the printer. Used once.
class CPrintRun {
public:
    /// The arguments are borrowed for the life of the run.
    CPrintRun(IPrinter& printer, const CPrintOptions& options, CHostEnvironment& environment,
              CConsole& console);

    /// Prints what the source has. Returns how the job ended. Throws CHostError if the document does not
    /// start, the device fails, or the result is unknown or an error.
    ExitStatus Run(CJobSource& source);

private:
    enum class Stop { No, Interrupted, GaveUp, NoPassword };

    void Follow(IPrintJob& job);
    CJobView Poll(IPrintJob& job, CStallDetector& detector);
    void SupplyPassword(IPrintJob& job, CStallDetector& detector, const CJobView& view,
                        CPasswordSupply& supply);
    void DeleteJob(IPrintJob& job, Stop reason, const char* message);
    void ReportEnd(const CJobView& view, const CJobOutcome& outcome);
    void ReportValues(const CPublishedValues& values);
    ExitStatus Conclude(const CJobOutcome& outcome) const;

    IPrinter& m_printer;
    const CPrintOptions& m_options;
    CHostEnvironment& m_environment;
    CConsole& m_console;

    DWORD m_startTick = 0; ///< of the job
    Stop m_stop = Stop::No;
    bool m_hasNoInput = false; ///< standard input has no more passwords
};

} // namespace zrtmon::host
