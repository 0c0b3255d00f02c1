// quarn listen: a link in the server role.
#pragma once

#include <CLI/CLI.hpp>

namespace quarnex::tool {

void addListenCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
