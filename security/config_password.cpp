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

BOOL CConfigPassword::Load(const wchar_t* path)
{
    m_entryPending = TRUE;
    CXmlPassword file;
    if (!file.Load(path)) {
        return FALSE;
    }
    BOOL onFirstCard = FALSE;
    file.ReadOnFirstCard(&onFirstCard); // stays off when it cannot be read
    uint32_t delay = 0;
    BOOL afterDelay = FALSE;
    if (file.ReadAfterDelay(&afterDelay) && afterDelay) {
        delay = file.ReadDelay();
        if (delay == 0) {
            return FALSE;
        }
    }
    if (onFirstCard != m_onFirstCard || delay != m_delay) {
        m_onFirstCard = onFirstCard;
        m_delay = delay;
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
