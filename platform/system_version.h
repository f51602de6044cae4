/// The version that this layer says the system has. Not there on Windows.
#pragma once

#include "platform/win32.h"

namespace zrtmon {

/// While one exists, VerifyVersionInfoW compares with this version instead of 10.0. One at a time.
class ZRT_PLATFORM_API SystemVersion {
public:
    SystemVersion(DWORD major, DWORD minor);
    ~SystemVersion();
    SystemVersion(const SystemVersion&) = delete;
    SystemVersion& operator=(const SystemVersion&) = delete;
};

} // namespace zrtmon
