// quarn completion: command-line completion for shells.
#pragma once

#include <CLI/CLI.hpp>

namespace quarnex::tool {

/// Add it after all other commands: it completes those that it finds.
void addCompletionCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
