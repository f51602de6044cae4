/// What the service manager is told.
#pragma once

namespace zrtmon::service {

/// Each does nothing if no service manager asked for it. Main thread.
void NotifyReady();
void NotifyReloading();
void NotifyStopping();

} // namespace zrtmon::service
