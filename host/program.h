/// The command line as a function.
#pragma once

#include "host/environment.h"

namespace zrtmon::host {

/// Runs one command line and answers the process's exit status (see ExitStatus). Whatever goes wrong is one
/// line in the messages. No exception leaves it.
int Main(int argc, const char* const* argv, CHostEnvironment& environment);

} // namespace zrtmon::host
