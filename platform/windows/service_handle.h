#pragma once

#include "platform/win32.h"

namespace zrtmon {

class CServiceHandle {
public:
    explicit CServiceHandle(SC_HANDLE handle) : m_handle(handle) {}
    ~CServiceHandle()
    {
        if (m_handle) {
            CloseServiceHandle(m_handle);
        }
    }
    CServiceHandle(const CServiceHandle&) = delete;
    CServiceHandle& operator=(const CServiceHandle&) = delete;

    SC_HANDLE Get() const { return m_handle; }

private:
    SC_HANDLE m_handle;
};

} // namespace zrtmon
