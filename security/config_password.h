#pragma once

#include <cstdint>

#include "security/config.h"

namespace zrtmon {

/// The policy that says when a password must be entered afresh, and when it was last entered. By the local
/// clock. One thread at a time: that of the port's documents.
class CConfigPassword final : public CConfig {
public:
    /// Reads the policy file. FALSE when it cannot be read or names a delay that is none of the known ones. A
    /// policy that differs from the one before forgets the last entry.
    BOOL Load(const wchar_t* path) override;

    BOOL IsPasswordRequired() const;
    /// A password has just been entered.
    void MarkEntered();

    /// Milliseconds between two times, in either order. A time that is none gives 0.
    static uint64_t ElapsedMilliseconds(const SYSTEMTIME& a, const SYSTEMTIME& b);

private:
    BOOL m_entryPending = TRUE; ///< since the last load; decides when both rules are off
    BOOL m_onFirstCard = FALSE; ///< a password for the first card of a day
    SYSTEMTIME m_enteredAt{};   ///< year 0: no entry recorded
    uint32_t m_delay = 0;       ///< milliseconds after which a password is due again; 0: rule off
};

} // namespace zrtmon
