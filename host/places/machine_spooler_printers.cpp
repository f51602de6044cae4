#include "host/places/machine_printers.h"
#include "host/places/spooler_printers.h"
#include "platform/system_spooler.h"

namespace zrtmon::host {

std::unique_ptr<ISystemPrinters> MachinePrinters(const CHostEnvironment& environment)
{
    return std::make_unique<CSpoolerPrinters>(MachineSpooler(), environment);
}

} // namespace zrtmon::host
