/// Detects that a printing job waits, and why.
#pragma once

#include <cstdint>
#include <string>

#include "host/places/printer.h"

namespace zrtmon::host {

/// One thread.
class CStallDetector {
public:
    explicit CStallDetector(DWORD now) : m_lastChange(now) {}

    /// now is GetTickCount.
    void Update(DWORD now, const CJobView& view);

    /// Why the job waits; empty while data is being accepted.
    const std::string& Reason() const { return m_reason; }
    /// Whether the reason is a published state of the printer or its queue, and not just a pause.
    bool IsReported() const { return m_isPublished; }
    /// Whether the reason is an error of the printer, and not a missing password.
    bool IsPrinterError() const { return m_isPublished && !m_isPasswordWanted; }
    /// Milliseconds for which the job has been waiting; 0 if it is not.
    DWORD HeldMs(DWORD now) const { return m_reason.empty() ? 0 : now - m_heldSince; }

private:
    std::string m_reason;
    bool m_isPublished = false;
    bool m_isPasswordWanted = false;
    uint64_t m_takenBytes = 0;
    DWORD m_lastChange;    ///< tick at which data was last accepted or an error cleared
    DWORD m_heldSince = 0; ///< tick; valid while there is a reason
};

} // namespace zrtmon::host
