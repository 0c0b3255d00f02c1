// What quarn listen and quarn call have in common: arguments, options and the session itself.
#pragma once

#include <CLI/CLI.hpp>

#include "quarn/link_session.h"

namespace quarnex::tool {

/// Adds TIPO, ID and the options of a session to `command`, which runs it with `client` as its role.
void defineSession(CLI::App& command, bool client, int& exitStatus);

}  // namespace quarnex::tool
