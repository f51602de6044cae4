/// The commands of the program, and what several of them share.
#pragma once

#include <vector>

#include "host/command_line/command_line.h"
#include "host/environment.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

CCommand PrintCommand();
CCommand GetCommand();
CCommand StatusCommand();
CCommand SettingsCommand();
CCommand PasswordCommand();
CCommand NamesCommand();
CCommand MakeJobCommand();
CCommand DoctorCommand();
CCommand DevicesCommand();
CCommand SimulateCommand();
CCommand InstallCommand();
CCommand UninstallCommand();
CCommand SetupCommand();

/// The options of a command followed by those of every command that opens a port.
std::vector<COption> WithSessionOptions(std::vector<COption> options, CSessionOptions& session);

/// Throws CHostError (Interrupted) if the interrupt key was pressed.
void StopWhenInterrupted(const CHostEnvironment& environment);

} // namespace zrtmon::host
