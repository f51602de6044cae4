#include "host/places/machine_printers.h"
#include "platform/terminal.h"
#include "service/client/bus_service.h"
#include "service/client/service_printers.h"

namespace zrtmon::host {

std::unique_ptr<ISystemPrinters> MachinePrinters(const CHostEnvironment&)
{
    return std::make_unique<client::CServicePrinters>([] {
        const bool isSessionBus = terminal::Environment("ZRTMON_BUS") == "session";
        return std::make_shared<client::CBusService>(isSessionBus);
    });
}

} // namespace zrtmon::host
