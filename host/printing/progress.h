/// Shows the progress of a job.
#pragma once

#include <optional>
#include <string>

#include "host/printing/stall_detector.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// On a terminal it is one line that is rewritten; elsewhere a line is printed for each card. The reason why
/// a job waits is printed on its own line in both. One thread.
class CProgress {
public:
    /// baseCount: the printer's card count before the job, std::nullopt if unknown.
    CProgress(CConsole& console, std::optional<int> baseCount) : m_console(console), m_baseCount(baseCount) {}

    void Show(const CPrintView& view, const CStallDetector& detector);

    /// Cards printed since the job began, by the printer's count; std::nullopt if that is unknown.
    std::optional<int> CardsPrinted(const CPublishedValues& values) const;

private:
    void ReportStall(const CStallDetector& detector);
    void ReportCards(const CPrintView& view);
    std::string Line(const CPrintView& view, const CStallDetector& detector) const;

    CConsole& m_console;
    std::optional<int> m_baseCount;
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
