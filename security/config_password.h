#pragma once

#include <cstdint>
#include <optional>

#include "security/config.h"

namespace zrtmon {

/// What a policy file says.
struct PolicyRules {
    BOOL onFirstCard = FALSE; ///< the first card of a day needs a password
    uint32_t delayMs = 0;     ///< after which a password is due again; 0: rule off
};

/// std::nullopt if the file cannot be loaded, or does not name a known delay although the delay rule is on.
std::optional<PolicyRules> ReadPolicyRules(const wchar_t* path);

/// The policy that says when a password must be entered again, and the time of the last entry. Local time.
/// One thread at a time: that of the port's documents.
class CConfigPassword final : public CConfig {
public:
    /// Reads the policy file. FALSE if it cannot be read, an XML call fails, or the delay is not one of the
    /// known ones; the rules then stay as they were. A policy that differs from the previous one discards the
    /// time of the last entry.
    BOOL Load(const wchar_t* path) override;

    /// Whether a password must be entered now.
    BOOL IsPasswordRequired() const;
    /// Records that a password has just been entered.
    void MarkEntered();

    /// Milliseconds between two times, in either order. An invalid time counts as the start of 1601.
    static uint64_t ElapsedMilliseconds(const SYSTEMTIME& a, const SYSTEMTIME& b);

private:
    BOOL m_entryPending = TRUE; ///< no entry since the last load; decides if both rules are off
    BOOL m_onFirstCard = FALSE; ///< the rule that the first card of a day needs a password
    SYSTEMTIME m_enteredAt{};   ///< year 0: no entry recorded
    uint32_t m_delay = 0;       ///< milliseconds after which a password is due again; 0: rule off
};

} // namespace zrtmon
