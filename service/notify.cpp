#include "service/notify.h"

#include <ctime>
#include <string>
#include <systemd/sd-daemon.h>

namespace zrtmon::service {

void NotifyReady() { sd_notify(0, "READY=1"); }

void NotifyReloading()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long microseconds = now.tv_sec * 1000000LL + now.tv_nsec / 1000;
    sd_notify(0, ("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds)).c_str());
}

void NotifyStopping() { sd_notify(0, "STOPPING=1"); }

} // namespace zrtmon::service
