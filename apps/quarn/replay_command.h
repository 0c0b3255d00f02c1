// `quarn replay`: plays recordings to a fresh engine, or shows them.
#pragma once

#include <CLI/App.hpp>

namespace quarnex::tool {

/// Adds the command. When it has run, `exitStatus` is 0 if every recording played without a difference, 1 if
/// one differs, 2 if one is damaged or cannot be opened.
void addReplayCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
