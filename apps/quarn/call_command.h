// quarn call: a link in the client role.
#pragma once

#include <CLI/CLI.hpp>

namespace quarnex::tool {

void addCallCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
