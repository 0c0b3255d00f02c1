// Declares the commands of quarn and the list of all of them. Parses the command line of quarn, prints --help
// and runs the command that was chosen.
#pragma once

#include <vector>

#include "quarn/command.h"

namespace quarnex::tool {

Command listenCommand();
Command callCommand();
Command rpcCommand();
Command portsCommand();
Command replayCommand();
Command shrinkCommand();
Command simulateCommand();
Command completionCommand();
Command manualCommand();

/// The name, summary and examples of quarn itself.
const Command& program();

/// All commands of this build, in the order of the help.
const std::vector<Command>& commands();

/// Parses `argv` and runs one of `commands`; `program` holds the name, the summary and the examples of the
/// program itself. Returns the exit status. A wrong command line is reported in one line on standard error
/// and returns `kNotStarted`.
int runCommandLine(const Command& program, const std::vector<Command>& commands, int argc,
                   const char* const* argv);

}  // namespace quarnex::tool
