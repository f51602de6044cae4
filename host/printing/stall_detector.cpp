#include "host/printing/stall_detector.h"

#include "host/printer/status_words.h"

namespace zrtmon::host {
namespace {

// A busy printer accepts its data with shorter pauses than this. Matches the text below.
constexpr DWORD kStallMs = 2000;
constexpr char kStallReason[] = "the printer takes no data";

} // namespace

void CStallDetector::Update(DWORD now, const CJobView& view)
{
    if (view.takenBytes != m_takenBytes) {
        m_takenBytes = view.takenBytes;
        m_lastChange = now;
    }
    const int category = view.state.values.printerError.value_or(kNoErrorCategory);
    if (m_isPublished && category == kNoErrorCategory && view.state.queue.empty()) {
        m_lastChange = now; // the printer has resumed: the time of the error does not count as a pause
    }
    const bool isStalled = !view.finishing && now - m_lastChange >= kStallMs;
    const bool wasHeld = !m_reason.empty();
    const bool isError = category != kNoErrorCategory;
    m_isPublished = isError || !view.state.queue.empty();
    m_isPasswordWanted = category == kPasswordCategory;
    if (isError) {
        m_reason = ErrorReason(category, view.state.values.deviceError.value_or(0));
    } else if (m_isPublished) {
        m_reason = view.state.queue;
    } else {
        m_reason = isStalled ? kStallReason : "";
    }
    if (!wasHeld) {
        m_heldSince = m_isPublished ? now : m_lastChange;
    }
}

} // namespace zrtmon::host
