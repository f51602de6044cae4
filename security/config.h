#pragma once

#include "platform/win32.h"

namespace zrtmon {

/// A configuration that is read from a file.
class CConfig {
public:
    CConfig() = default;
    virtual ~CConfig() = default;
    CConfig(const CConfig&) = delete;
    CConfig& operator=(const CConfig&) = delete;

    virtual BOOL Load(const wchar_t* /*path*/) { return TRUE; }
};

} // namespace zrtmon
