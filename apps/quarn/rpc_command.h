// quarn rpc: the component over standard input and output.
#pragma once

#include <CLI/CLI.hpp>

namespace quarnex::tool {

void addRpcCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
