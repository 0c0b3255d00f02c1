// Lays out the text that --help prints below the list of options.
#pragma once

#include <string>

#include "quarn/command.h"

namespace quarnex::tool {

/// The details, exit statuses and examples of a command, in lines of at most 100 characters.
std::string helpFooter(const Command& command);

}  // namespace quarnex::tool
