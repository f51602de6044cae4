#pragma once

#include "platform/sync.h"

namespace zrtmon {

/// Holds a port's exchange mutex for a scope, or stands for it when the port has none. Its owner may take it
/// again.
class ExchangeHold {
public:
    explicit ExchangeHold(HANDLE mutex) : m_guarded(mutex != nullptr), m_hold(mutex, kExchangeWaitMs) {}
    explicit operator bool() const { return !m_guarded || m_hold.IsHeld(); }

private:
    static constexpr DWORD kExchangeWaitMs = 30000;

    bool m_guarded;
    CMutexHold m_hold;
};

} // namespace zrtmon
