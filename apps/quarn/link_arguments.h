// TIPO and ID, the two words that name a link on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace quarnex::tool {

CLI::Option* addTypeArgument(CLI::App& command, std::string& type);
/// A whole number of 16 bits, signed; anything else is refused with a message that says so.
CLI::Option* addIdentifierArgument(CLI::App& command, std::int16_t& identifier);

}  // namespace quarnex::tool
