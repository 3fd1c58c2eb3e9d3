// The whole command line, from arguments to exit code.
#pragma once

#include "apps/text/console.h"

namespace torval {

/// Parses the arguments, arguments[0] being the program's name, and runs the subcommand they name.
/// Returns an ExitCode; with any other than ExitOk one line on console.err says why.
int RunCommandLine(int count, const char* const* arguments, Console& console);

}  // namespace torval
