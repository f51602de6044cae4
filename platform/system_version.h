/// The version that this layer says the system has. Not there on Windows.
#pragma once

#include "platform/win32.h"

namespace zrtmon {

/// While one exists, VerifyVersionInfoW compares with this version instead of 10.0. One at a time.
class ZRT_PLATFORM_API CSystemVersion {
public:
    CSystemVersion(DWORD major, DWORD minor);
    ~CSystemVersion();
    CSystemVersion(const CSystemVersion&) = delete;
    CSystemVersion& operator=(const CSystemVersion&) = delete;
};

} // namespace zrtmon
