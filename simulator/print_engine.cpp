#include "simulator/print_engine.h"

#include <algorithm>
#include <utility>

namespace zrtmon::sim {

namespace {
constexpr uint64_t kRibbonUnitsPerCard = 100;
}

CPrintEngine::CPrintEngine(const PrinterOptions& options)
    : m_cardMs(options.cardMs), m_bufferCards(options.bufferCards),
      m_ribbonCards(std::max(options.ribbonCards, 1u))
{
    SetRibbon(options.ribbonPercent);
    const auto code = static_cast<int32_t>(options.error);
    if (options.errorAtCard > 0) {
        FailAtCard(options.errorAtCard, code, options.clearMs);
    } else {
        SetError(code, options.clearMs);
    }
}

void CPrintEngine::CatchUp(uint64_t nowMs)
{
    for (;;) {
        StartNextCard();
        PassTime(NextEvent(nowMs));
        if (!FinishWhatIsDue() && m_nowMs == nowMs) {
            return;
        }
    }
}

void CPrintEngine::StartNextCard()
{
    if (m_isPrinting || m_waiting == 0) {
        return;
    }
    --m_waiting;
    m_isPrinting = true;
    m_leftMs = m_cardMs;
    if (++m_started == m_plan.card) {
        const FailurePlan plan = std::exchange(m_plan, {});
        SetError(plan.code, plan.clearMs);
    }
}

uint64_t CPrintEngine::NextEvent(uint64_t nowMs) const
{
    uint64_t next = nowMs;
    if (m_error != 0 && m_clearAtMs != 0) {
        next = std::min(next, m_clearAtMs);
    }
    if (m_error == 0 && m_isPrinting) {
        next = std::min(next, m_nowMs + m_leftMs);
    }
    return next;
}

void CPrintEngine::PassTime(uint64_t toMs)
{
    if (m_isPrinting && m_error == 0) {
        m_leftMs -= toMs - m_nowMs;
    }
    m_nowMs = toMs;
}

bool CPrintEngine::FinishWhatIsDue()
{
    if (m_error != 0 && m_clearAtMs != 0 && m_nowMs >= m_clearAtMs) {
        SetError(0, 0);
        return true;
    }
    if (m_isPrinting && m_error == 0 && m_leftMs == 0) {
        m_isPrinting = false;
        ++m_printed;
        m_ribbonLeft -= std::min(m_ribbonLeft, kRibbonUnitsPerCard);
        return true;
    }
    return false;
}

void CPrintEngine::ReleaseHeld() { m_waiting += std::exchange(m_held, 0); }

uint32_t CPrintEngine::DropHeld() { return std::exchange(m_held, 0); }

uint32_t CPrintEngine::DropAll()
{
    const uint32_t inPrint = std::exchange(m_isPrinting, false) ? 1 : 0;
    return inPrint + std::exchange(m_waiting, 0) + DropHeld();
}

void CPrintEngine::SetError(int32_t code, uint32_t clearMs)
{
    m_error = code;
    m_clearAtMs = clearMs == 0 ? 0 : m_nowMs + clearMs;
}

void CPrintEngine::FailAtCard(uint32_t card, int32_t code, uint32_t clearMs)
{
    m_plan = {.card = card, .code = code, .clearMs = clearMs};
}

} // namespace zrtmon::sim
