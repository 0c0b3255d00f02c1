// Parses the command line of quarn, prints --help and runs the command that was chosen.
#pragma once

#include <vector>

#include "quarn/command.h"

namespace quarnex::tool {

/// Parses `argv` and runs one of `commands`; `program` holds the name, the summary and the examples of the
/// program itself. Returns the exit status. A wrong command line is reported in one line on standard error
/// and returns `kNotStarted`.
int runCommandLine(const Command& program, const std::vector<Command>& commands, int argc,
                   const char* const* argv);

}  // namespace quarnex::tool
