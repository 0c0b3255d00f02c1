// "quarn simulate": lets faults befall a site in virtual time and tells what became of it.
#pragma once

#include <CLI/CLI.hpp>

namespace quarnex::tool {

/// Adds the command; its callback sets `exitStatus`.
void addSimulateCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
