// Describes TIPO and ID, the two arguments that name a link.
#pragma once

#include <cstdint>
#include <string>

#include "quarn/command.h"

namespace quarnex::tool {

/// The type of the peer, of any bytes.
Argument typeArgument(std::string& type);
/// The identifier of the peer: a signed whole number of 16 bits; other values are refused.
Argument identifierArgument(std::int16_t& identifier);

}  // namespace quarnex::tool
