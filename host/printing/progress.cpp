#include "host/printing/progress.h"

#include "host/text/text.h"

namespace zrtmon::host {

std::string CardCountText(int cards) { return std::to_string(cards) + (cards == 1 ? " card" : " cards"); }

void CProgress::Show(const CJobView& view, const CStallDetector& detector)
{
    ReportStall(detector);
    if (m_console.RewritesLine()) {
        m_console.Progress(Line(view, detector));
    } else {
        ReportCards(view);
    }
}

void CProgress::ReportStall(const CStallDetector& detector)
{
    // The monitor publishes category and code one after the other: a reason counts once two polls agree on
    // it.
    const bool isSettled = detector.Reason() == m_lastReason;
    m_lastReason = detector.Reason();
    if (!isSettled || detector.Reason() == m_reportedReason) {
        return;
    }
    const bool isNews = detector.IsReported() || !m_reportedPause;
    if (!detector.Reason().empty() && isNews) {
        m_console.Message("waiting: " + detector.Reason(), Tone::Warning);
    } else if (m_reportedError && !detector.IsPrinterError()) {
        m_console.Message("resuming: the error has cleared", Tone::Good);
    }
    m_reportedReason = detector.Reason();
    m_reportedError = detector.IsPrinterError();
    m_reportedPause = m_reportedPause || (!m_reportedReason.empty() && !detector.IsReported());
}

void CProgress::ReportCards(const CJobView& view)
{
    const int cards = view.cards.value_or(0);
    if (cards > m_reportedCards) {
        m_reportedCards = cards;
        m_console.Message(CardCountText(cards) + " printed, " + ByteCount(view.takenBytes) + " of " +
                          ByteCount(view.totalBytes) + " accepted");
    }
    if (view.finishing && view.takenBytes == view.totalBytes && !m_reportedFinishing) {
        m_reportedFinishing = true;
        m_console.Message("all data accepted, waiting for the printer to finish");
    }
}

std::string CProgress::Line(const CJobView& view, const CStallDetector& detector) const
{
    const uint64_t percent = view.totalBytes ? view.takenBytes * 100 / view.totalBytes : 100;
    std::string line =
        std::to_string(percent) + "%  " + ByteCount(view.takenBytes) + " of " + ByteCount(view.totalBytes);
    if (view.cards) {
        line += "  " + CardCountText(*view.cards);
    }
    if (!detector.Reason().empty()) {
        return line + "  waiting: " + detector.Reason();
    }
    return line + (view.finishing ? "  waiting for the printer to finish" : "  printing");
}

} // namespace zrtmon::host
