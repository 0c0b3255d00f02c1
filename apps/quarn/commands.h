// Declares all commands of quarn, and the parser that runs the one chosen on the command line.
#pragma once

#include <string>
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

/// Parses `arguments`, those behind the name of the program, prints the help or runs one of `commands`, and
/// returns the exit status. Reports an invalid command line in one line on standard error and returns
/// `kNotStarted`. `program` describes quarn itself.
int runCommandLine(const Command& program, const std::vector<Command>& commands,
                   std::vector<std::string> arguments);

}  // namespace quarnex::tool
