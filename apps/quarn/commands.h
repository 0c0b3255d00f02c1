// Declares the commands of quarn and the list of all of them.
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

}  // namespace quarnex::tool
