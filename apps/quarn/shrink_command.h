// `quarn shrink`: cuts a recording down to the steps that matter.
#pragma once

#include <CLI/App.hpp>

namespace quarnex::tool {

/// Adds the command. When it has run, `exitStatus` is 0 if the recording was reduced, 1 if nothing is wrong
/// in it or what is does not come again, 2 if it is damaged or a file cannot be opened or written.
void addShrinkCommand(CLI::App& app, int& exitStatus);

}  // namespace quarnex::tool
