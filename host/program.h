/// The command line as a function.
#pragma once

#include "host/environment.h"

namespace zrtmon::host {

/// Runs one command line and returns the process's exit status (see ExitStatus). Every error is one line on
/// environment.err. No exception leaves it.
int Main(int argc, const char* const* argv, CHostEnvironment& environment);

} // namespace zrtmon::host
