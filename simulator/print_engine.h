/// The part of the printer that prints: cards in a queue, the time they take, errors that stop them.
#pragma once

#include <cstdint>

#include "simulator/printer_options.h"

namespace zrtmon::sim {

/// Its time only moves in CatchUp; call that before anything else. Not thread-safe.
class CPrintEngine {
public:
    explicit CPrintEngine(const PrinterOptions& options);

    /// Does what falls due up to that time, in milliseconds since the engine was made.
    void CatchUp(uint64_t nowMs);

    /// A card has been received; held: it waits for ReleaseHeld.
    void AddCard(bool held) { ++(held ? m_held : m_waiting); }
    void ReleaseHeld();
    /// Drops the held cards and returns how many.
    uint32_t DropHeld();
    /// Drops every card, the one being printed too, and returns how many.
    uint32_t DropAll();

    void SetError(int32_t code, uint32_t clearMs);
    void FailAtCard(uint32_t card, int32_t code, uint32_t clearMs);
    void SetRibbon(uint32_t percent) { m_ribbonLeft = uint64_t{percent} * m_ribbonCards; }

    int32_t Error() const { return m_error; }
    bool IsPrinting() const { return m_isPrinting; }
    /// A card is being printed, and the buffer for waiting cards is full.
    bool IsFull() const { return m_isPrinting && m_waiting >= m_bufferCards; }
    uint32_t Waiting() const { return m_waiting + m_held; }
    uint32_t Held() const { return m_held; }
    uint32_t Printed() const { return m_printed; }
    uint32_t RibbonPercent() const { return static_cast<uint32_t>(m_ribbonLeft / m_ribbonCards); }

private:
    void StartNextCard();
    uint64_t NextEvent(uint64_t nowMs) const;
    void PassTime(uint64_t toMs);
    bool FinishWhatIsDue();

    struct FailurePlan {
        uint32_t card = 0; ///< 0: none
        int32_t code = 0;
        uint32_t clearMs = 0;
    };

    uint64_t m_nowMs = 0;
    uint32_t m_cardMs;
    uint32_t m_bufferCards;
    uint32_t m_waiting = 0; ///< may begin
    uint32_t m_held = 0;    ///< may not yet
    uint32_t m_started = 0;
    uint32_t m_printed = 0;
    bool m_isPrinting = false;
    uint64_t m_leftMs = 0; ///< of the card in print
    int32_t m_error = 0;
    uint64_t m_clearAtMs = 0; ///< 0: the error stays
    FailurePlan m_plan;
    uint32_t m_ribbonCards;
    uint64_t m_ribbonLeft = 0; ///< in hundredths of a card
};

} // namespace zrtmon::sim
