/// The commands of the program, and what several of them share.
#pragma once

#include <vector>

#include "host/command_line/command_line.h"
#include "host/environment.h"
#include "host/places/open_printer.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

CCommand PrintCommand();
CCommand GetCommand();
CCommand StatusCommand();
CCommand SettingsCommand();
CCommand PasswordCommand();
/// A part of PasswordCommand.
CCommand PasswordSupplyCommand();
CCommand PolicyCommand();
CCommand PrintersCommand();
CCommand JobsCommand();
CCommand NamesCommand();
CCommand MakeJobCommand();
CCommand DoctorCommand();
CCommand DevicesCommand();
CCommand SimulateCommand();
CCommand InstallCommand();
CCommand UninstallCommand();
CCommand SetupCommand();

/// The options of a command followed by those of every command that reaches for a printer.
std::vector<COption> WithPrinterOptions(std::vector<COption> options, CPrinterChoice& choice);

/// Throws CHostError (Interrupted) if the interrupt key was pressed.
void StopWhenInterrupted(const CHostEnvironment& environment);

} // namespace zrtmon::host
