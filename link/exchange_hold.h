#pragma once

#include "platform/sync.h"

namespace zrtmon {

/// Holds a port's exchange mutex for a scope; counts as held if the port has none. The owner may take the
/// mutex again.
class CExchangeHold {
public:
    explicit CExchangeHold(HANDLE mutex) : m_guarded(mutex != nullptr), m_hold(mutex, kExchangeWaitMs) {}
    explicit operator bool() const { return !m_guarded || m_hold.IsHeld(); }

private:
    static constexpr DWORD kExchangeWaitMs = 30000;

    bool m_guarded;
    CMutexHold m_hold;
};

} // namespace zrtmon
