#pragma once

#include <memory>

#include "host/environment.h"
#include "host/places/system_printers.h"

namespace zrtmon::host {

/// The printers of this machine: those of its spooler, or of the print service. The build links the one that
/// the system has. Nothing is reached for before the first call. The environment is borrowed.
std::unique_ptr<ISystemPrinters> MachinePrinters(const CHostEnvironment& environment);

} // namespace zrtmon::host
