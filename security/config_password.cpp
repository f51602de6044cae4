#include "security/config_password.h"

#include "security/xml_password.h"

namespace zrtmon {

namespace {

constexpr uint64_t kFileTimeUnitsPerMs = 10000;

uint64_t FileTimeUnits(const SYSTEMTIME& time)
{
    FILETIME units{};
    SystemTimeToFileTime(&time, &units);
    return uint64_t{units.dwHighDateTime} << 32 | units.dwLowDateTime;
}

} // namespace

std::optional<PolicyRules> ReadPolicyRules(const wchar_t* path)
try {
    CXmlPassword file;
    if (!file.Load(path)) {
        return std::nullopt;
    }
    PolicyRules rules;
    file.ReadOnFirstCard(&rules.onFirstCard); // off if it has no "Enabled", as the delay rule is
    BOOL afterDelay = FALSE;
    if (file.ReadAfterDelay(&afterDelay) && afterDelay) {
        rules.delayMs = file.ReadDelay();
        if (rules.delayMs == 0) {
            return std::nullopt;
        }
    }
    return rules;
} catch (const CXmlError&) {
    return std::nullopt;
}

BOOL CConfigPassword::Load(const wchar_t* path)
{
    m_entryPending = TRUE;
    const std::optional<PolicyRules> rules = ReadPolicyRules(path);
    if (!rules) {
        return FALSE;
    }
    if (rules->onFirstCard != m_onFirstCard || rules->delayMs != m_delay) {
        m_onFirstCard = rules->onFirstCard;
        m_delay = rules->delayMs;
        m_enteredAt.wYear = 0;
    }
    return TRUE;
}

BOOL CConfigPassword::IsPasswordRequired() const
{
    if (!m_onFirstCard && m_delay == 0) {
        return m_entryPending;
    }
    if (m_enteredAt.wYear == 0) {
        return TRUE;
    }
    SYSTEMTIME now{};
    GetLocalTime(&now);
    const bool isSameDay = m_enteredAt.wDay == now.wDay; // the day of the month alone
    const bool isWithinDelay = m_delay > 0 && ElapsedMilliseconds(m_enteredAt, now) < m_delay;
    return !(m_onFirstCard && isSameDay) && !isWithinDelay;
}

void CConfigPassword::MarkEntered()
{
    m_entryPending = FALSE;
    GetLocalTime(&m_enteredAt);
}

uint64_t CConfigPassword::ElapsedMilliseconds(const SYSTEMTIME& a, const SYSTEMTIME& b)
{
    const uint64_t first = FileTimeUnits(a);
    const uint64_t second = FileTimeUnits(b);
    return (second > first ? second - first : first - second) / kFileTimeUnitsPerMs;
}

} // namespace zrtmon
