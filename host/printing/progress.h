/// Shows the progress of a job.
#pragma once

#include <string>

#include "host/printing/stall_detector.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// On a terminal it is one line that is rewritten; elsewhere a line is printed for each card. The reason why
/// a job waits is printed on its own line in both. One thread.
class CProgress {
public:
    explicit CProgress(CConsole& console) : m_console(console) {}

    void Show(const CJobView& view, const CStallDetector& detector);

private:
    void ReportStall(const CStallDetector& detector);
    void ReportCards(const CJobView& view);
    std::string Line(const CJobView& view, const CStallDetector& detector) const;

    CConsole& m_console;
    std::string m_lastReason; ///< of the poll before
    std::string m_reportedReason;
    bool m_reportedError = false; ///< m_reportedReason is an error of the printer
    bool m_reportedPause = false; ///< a pause: reported once, since a slow printer pauses after each card
    int m_reportedCards = 0;
    bool m_reportedFinishing = false;
};

/// "1 card", "3 cards".
std::string CardCountText(int cards);

} // namespace zrtmon::host
