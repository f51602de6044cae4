/// Shows how a job comes along.
#pragma once

#include <optional>
#include <string>

#include "host/printing/stall_detector.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// On a terminal one line that is written over; elsewhere a line for each card. Why data is held back is a
/// line of its own in both. One thread.
class CProgress {
public:
    /// baseCount: the printer's card count before the job, nothing when it is not known.
    CProgress(CConsole& console, std::optional<int> baseCount) : m_console(console), m_baseCount(baseCount) {}

    void Show(const CPrintView& view, const CStallDetector& detector);

    /// Cards printed since the job began, as far as the printer's count tells.
    std::optional<int> CardsPrinted(const CPublishedValues& values) const;

private:
    void ReportStall(const CStallDetector& detector);
    void ReportCards(const CPrintView& view);
    std::string Line(const CPrintView& view, const CStallDetector& detector) const;

    CConsole& m_console;
    std::optional<int> m_baseCount;
    std::string m_reportedReason;
    bool m_reportedError = false; ///< m_reportedReason is an error of the printer
    bool m_reportedPause = false; ///< that the printer takes nothing; a slow one does that after each card
    int m_reportedCards = 0;
    bool m_reportedFinishing = false;
};

/// "1 card", "3 cards".
std::string CardCountText(int cards);

} // namespace zrtmon::host
