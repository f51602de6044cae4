#include "host/printing/progress.h"

#include <algorithm>

#include "host/text/text.h"

namespace zrtmon::host {

std::string CardCountText(int cards) { return std::to_string(cards) + (cards == 1 ? " card" : " cards"); }

void CProgress::Show(const CPrintView& view, const CHoldWatch& hold)
{
    TellHold(hold);
    if (m_console.RewritesLine()) {
        m_console.Progress(Line(view, hold));
    } else {
        TellCards(view);
    }
}

std::optional<int> CProgress::CardsPrinted(const CPublished& values) const
{
    if (!m_baseCount || !values.cardCount) {
        return std::nullopt;
    }
    return std::max(0, *values.cardCount - *m_baseCount);
}

void CProgress::TellHold(const CHoldWatch& hold)
{
    if (hold.Reason() == m_toldReason) {
        return;
    }
    const bool isNews = hold.IsPublished() || !m_toldPause;
    if (!hold.Reason().empty() && isNews) {
        m_console.Message("held back: " + hold.Reason(), Tone::Warning);
    } else if (m_toldError && !hold.IsPrinterError()) {
        m_console.Message("going on: the error has cleared", Tone::Good);
    }
    m_toldReason = hold.Reason();
    m_toldError = hold.IsPrinterError();
    m_toldPause = m_toldPause || (!m_toldReason.empty() && !hold.IsPublished());
}

void CProgress::TellCards(const CPrintView& view)
{
    const int cards = CardsPrinted(view.values).value_or(0);
    if (cards > m_toldCards) {
        m_toldCards = cards;
        m_console.Message(CardCountText(cards) + " printed, " + ByteCount(view.takenBytes) + " of " +
                          ByteCount(view.totalBytes) + " taken");
    }
    if (view.finishing && view.takenBytes == view.totalBytes && !m_toldFinishing) {
        m_toldFinishing = true;
        m_console.Message("all data taken, the printer finishes");
    }
}

std::string CProgress::Line(const CPrintView& view, const CHoldWatch& hold) const
{
    const uint64_t percent = view.totalBytes ? view.takenBytes * 100 / view.totalBytes : 100;
    std::string line =
        std::to_string(percent) + "%  " + ByteCount(view.takenBytes) + " of " + ByteCount(view.totalBytes);
    if (const std::optional<int> cards = CardsPrinted(view.values)) {
        line += "  " + CardCountText(*cards);
    }
    if (!hold.Reason().empty()) {
        return line + "  held back: " + hold.Reason();
    }
    return line + (view.finishing ? "  the printer finishes" : "  printing");
}

} // namespace zrtmon::host
