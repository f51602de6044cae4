#include "host/printing/progress.h"

#include <algorithm>

#include "host/text/text.h"

namespace zrtmon::host {

std::string CardCountText(int cards) { return std::to_string(cards) + (cards == 1 ? " card" : " cards"); }

void CProgress::Show(const CPrintView& view, const CStallDetector& detector)
{
    ReportStall(detector);
    if (m_console.RewritesLine()) {
        m_console.Progress(Line(view, detector));
    } else {
        ReportCards(view);
    }
}

std::optional<int> CProgress::CardsPrinted(const CPublishedValues& values) const
{
    if (!m_baseCount || !values.cardCount) {
        return std::nullopt;
    }
    return std::max(0, *values.cardCount - *m_baseCount);
}

void CProgress::ReportStall(const CStallDetector& detector)
{
    if (detector.Reason() == m_reportedReason) {
        return;
    }
    const bool isNews = detector.IsPublished() || !m_reportedPause;
    if (!detector.Reason().empty() && isNews) {
        m_console.Message("held back: " + detector.Reason(), Tone::Warning);
    } else if (m_reportedError && !detector.IsPrinterError()) {
        m_console.Message("going on: the error has cleared", Tone::Good);
    }
    m_reportedReason = detector.Reason();
    m_reportedError = detector.IsPrinterError();
    m_reportedPause = m_reportedPause || (!m_reportedReason.empty() && !detector.IsPublished());
}

void CProgress::ReportCards(const CPrintView& view)
{
    const int cards = CardsPrinted(view.values).value_or(0);
    if (cards > m_reportedCards) {
        m_reportedCards = cards;
        m_console.Message(CardCountText(cards) + " printed, " + ByteCount(view.takenBytes) + " of " +
                          ByteCount(view.totalBytes) + " taken");
    }
    if (view.finishing && view.takenBytes == view.totalBytes && !m_reportedFinishing) {
        m_reportedFinishing = true;
        m_console.Message("all data taken, the printer finishes");
    }
}

std::string CProgress::Line(const CPrintView& view, const CStallDetector& detector) const
{
    const uint64_t percent = view.totalBytes ? view.takenBytes * 100 / view.totalBytes : 100;
    std::string line =
        std::to_string(percent) + "%  " + ByteCount(view.takenBytes) + " of " + ByteCount(view.totalBytes);
    if (const std::optional<int> cards = CardsPrinted(view.values)) {
        line += "  " + CardCountText(*cards);
    }
    if (!detector.Reason().empty()) {
        return line + "  held back: " + detector.Reason();
    }
    return line + (view.finishing ? "  the printer finishes" : "  printing");
}

} // namespace zrtmon::host
