// The port of a link, or why it has none, and whether its identifier can be read by a peer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarnex::tool {

struct LinkPort {
  std::int32_t port = 0;  ///< 0 if there is none
  std::string whyNone;    ///< what is wrong and what to use instead
};

LinkPort portOfLink(std::string_view type, std::int16_t identifier);

/// What is to be known about an identifier that has a port and yet carries no texts; "" for any other.
std::string identifierWarning(std::int16_t identifier);

}  // namespace quarnex::tool
