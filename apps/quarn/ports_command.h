// quarn ports: which TCP port a link has.
#pragma once

#include <CLI/CLI.hpp>

namespace quarnex::tool {

void addPortsCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
