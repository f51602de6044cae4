/// How the commands of the command line are put together.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "host/environment.h"
#include "host/exit_status.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// A command with all its arguments. Throws CHostError.
using RunCommand = std::function<ExitStatus(CHostEnvironment& environment, CConsole& console)>;

/// Adds a command to the line; *chosen receives it when the user has given it.
using AddCommand = void (*)(CLI::App& line, RunCommand* chosen);

void AddPrintCommand(CLI::App& line, RunCommand* chosen);
void AddGetCommand(CLI::App& line, RunCommand* chosen);
void AddStatusCommand(CLI::App& line, RunCommand* chosen);
void AddSettingsCommand(CLI::App& line, RunCommand* chosen);
void AddPasswordCommand(CLI::App& line, RunCommand* chosen);
void AddNamesCommand(CLI::App& line, RunCommand* chosen);
void AddMakeJobCommand(CLI::App& line, RunCommand* chosen);
void AddDoctorCommand(CLI::App& line, RunCommand* chosen);
void AddInstallCommands(CLI::App& line, RunCommand* chosen); ///< "install" and "uninstall"

/// The options of every command that opens a port.
void AddSessionOptions(CLI::App& command, CSessionOptions& options);

/// Throws CHostError (Interrupted) when the interrupt key was pressed.
void StopWhenInterrupted(const CHostEnvironment& environment);

} // namespace zrtmon::host
