/// SIGTERM, SIGINT and SIGHUP, handled on the main thread.
#pragma once

#include <functional>

#include "service/descriptor.h"
#include "service/main_loop.h"

namespace zrtmon::service {

/// From its construction on, the signals are blocked in this thread and in those made later.
class CSignals final : public ILoopSource {
public:
    /// Throws std::system_error.
    CSignals(std::function<void()> onStop, std::function<void()> onReload);

    CWait Wait() override;
    void Process() override;

private:
    std::function<void()> m_onStop;
    std::function<void()> m_onReload;
    CDescriptor m_descriptor;
};

} // namespace zrtmon::service
