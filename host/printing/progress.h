/// Shows how a job comes along.
#pragma once

#include <optional>
#include <string>

#include "host/printing/hold_watch.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// On a terminal one line that is written over; elsewhere a line for each card. Why data is held back is a
/// line of its own in both. One thread.
class CProgress {
public:
    /// baseCount: the printer's card count before the job, nothing when it is not known.
    CProgress(CConsole& console, std::optional<int> baseCount) : m_console(console), m_baseCount(baseCount) {}

    void Show(const CPrintView& view, const CHoldWatch& hold);

    /// Cards printed since the job began, as far as the printer's count tells.
    std::optional<int> CardsPrinted(const CPublished& values) const;

private:
    void TellHold(const CHoldWatch& hold);
    void TellCards(const CPrintView& view);
    std::string Line(const CPrintView& view, const CHoldWatch& hold) const;

    CConsole& m_console;
    std::optional<int> m_baseCount;
    std::string m_toldReason;
    bool m_toldError = false; ///< m_toldReason is an error of the printer
    bool m_toldPause = false; ///< that the printer takes nothing; a slow one does that after each card
    int m_toldCards = 0;
    bool m_toldFinishing = false;
};

/// "1 card", "3 cards".
std::string CardCountText(int cards);

} // namespace zrtmon::host
