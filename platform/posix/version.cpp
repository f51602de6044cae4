#include <atomic>

#include "platform/system_version.h"

namespace {

// The release whose print monitor interface this layer follows.
constexpr DWORD kMajorVersion = 10;
constexpr DWORD kMinorVersion = 0;

std::atomic<DWORD> g_majorVersion = kMajorVersion;
std::atomic<DWORD> g_minorVersion = kMinorVersion;

constexpr unsigned kConditionBits = 3;
constexpr ULONGLONG kConditionMask = 7;
constexpr unsigned kConditionTypes = 8;

BYTE ConditionOf(DWORDLONG mask, unsigned typeIndex)
{
    return static_cast<BYTE>(mask >> (typeIndex * kConditionBits) & kConditionMask);
}

/// Whether the type at that bit is not asked for, or is asked for equality.
bool IsServed(DWORD typeMask, DWORDLONG conditionMask, unsigned typeIndex)
{
    const bool asked = (typeMask >> typeIndex & 1) != 0;
    return !asked || ConditionOf(conditionMask, typeIndex) == VER_EQUAL;
}

} // namespace

ULONGLONG WINAPI VerSetConditionMask(ULONGLONG mask, DWORD typeMask, BYTE condition) noexcept
{
    for (unsigned index = 0; index < kConditionTypes; ++index) {
        if ((typeMask >> index & 1) != 0) {
            mask |= (condition & kConditionMask) << (index * kConditionBits);
        }
    }
    return mask;
}

BOOL WINAPI VerifyVersionInfoW(OSVERSIONINFOEXW* version, DWORD typeMask, DWORDLONG conditionMask) noexcept
{
    constexpr DWORD kServedTypes = VER_MAJORVERSION | VER_MINORVERSION;
    if (!version || typeMask == 0 || (typeMask & ~kServedTypes) != 0 ||
        !IsServed(typeMask, conditionMask, 0) || !IsServed(typeMask, conditionMask, 1)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const bool majorFits = (typeMask & VER_MAJORVERSION) == 0 || version->dwMajorVersion == g_majorVersion;
    const bool minorFits = (typeMask & VER_MINORVERSION) == 0 || version->dwMinorVersion == g_minorVersion;
    if (!majorFits || !minorFits) {
        SetLastError(ERROR_OLD_WIN_VERSION);
        return FALSE;
    }
    return TRUE;
}

namespace zrtmon {

CSystemVersion::CSystemVersion(DWORD major, DWORD minor)
{
    g_majorVersion = major;
    g_minorVersion = minor;
}

CSystemVersion::~CSystemVersion()
{
    g_majorVersion = kMajorVersion;
    g_minorVersion = kMinorVersion;
}

} // namespace zrtmon
