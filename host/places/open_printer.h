/// Finds the printer that a command line means.
#pragma once

#include <memory>
#include <string>

#include "host/environment.h"
#include "host/places/port_printer.h"

namespace zrtmon::host {

/// What the options of a command say, UTF-8; empty: not given.
struct CPrinterChoice {
    std::string port; ///< a port of our own
    std::string
        printer; ///< with a port: the name under which the monitor knows it; else a printer of the system
    std::string library; ///< with a port: the monitor's library
    std::string trace;   ///< with a port: the trace file
};

/// Options that only a port of our own has, without one: throws CHostError (Usage).
void RequirePortForItsOptions(const CPrinterChoice& choice);

/// A port of our own. Throws as CPortPrinter.
std::unique_ptr<CPortPrinter> OpenPort(const CPrinterChoice& choice, const CHostEnvironment& environment);

/// The chosen printer: that on a port of our own, that of the system by its name, or without either the only
/// one of the system. It borrows the environment. Throws CHostError: Usage for options that do not go
/// together, and if there is a choice of several printers; NoDevice if there is none; and as the places do.
std::unique_ptr<IPrinter> OpenPrinter(const CPrinterChoice& choice, const CHostEnvironment& environment);

} // namespace zrtmon::host
