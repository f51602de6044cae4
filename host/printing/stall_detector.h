/// Watches a printing job and says when its data is held back, and why.
#pragma once

#include <cstdint>
#include <string>

#include "host/session/spooler_session.h"

namespace zrtmon::host {

/// A printing job at one moment.
struct CPrintView {
    uint64_t takenBytes = 0; ///< reported written
    uint64_t totalBytes = 0;
    bool finishing = false; ///< nothing is offered any more
    CPublishedValues values;
};

/// One thread.
class CStallDetector {
public:
    explicit CStallDetector(DWORD now) : m_lastChange(now) {}

    /// now is GetTickCount.
    void Update(DWORD now, const CPrintView& view);

    /// Empty while data goes through.
    const std::string& Reason() const { return m_reason; }
    /// Whether what the printer has published is the reason, and not just that it takes nothing.
    bool IsPublished() const { return m_isPublished; }
    /// Whether that is an error of the printer, and not the want of a password.
    bool IsPrinterError() const { return m_isPublished && !m_isPasswordWanted; }
    /// Milliseconds for which the data has been held, 0 when it is not.
    DWORD HeldMs(DWORD now) const { return m_reason.empty() ? 0 : now - m_heldSince; }

private:
    std::string m_reason;
    bool m_isPublished = false;
    bool m_isPasswordWanted = false;
    uint64_t m_takenBytes = 0;
    DWORD m_lastChange;    ///< tick at which data was last taken, or an error cleared
    DWORD m_heldSince = 0; ///< tick; has a meaning while there is a reason
};

} // namespace zrtmon::host
