// Describes TIPO and ID, the two arguments that name a link. The port of a link, or why it has none, and
// whether its identifier can be read by a peer. Describes --record FILE and begins the recording of
// everything that happens to the process's links.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quarn/command.h"

namespace quarnex::tool {

/// The type of the peer, of any bytes.
Argument typeArgument(std::string& type);
/// The identifier of the peer: a signed whole number of 16 bits; other values are refused.
Argument identifierArgument(std::int16_t& identifier);

struct LinkPort {
  std::int32_t port = 0;  ///< 0 if there is none
  std::string whyNone;    ///< what is wrong and what to use instead
};

LinkPort portOfLink(std::string_view type, std::int16_t identifier);

/// What is to be known about an identifier that has a port and yet carries no texts; "" for any other.
std::string identifierWarning(std::int16_t identifier);

Argument recordOption(std::optional<std::string>& file);

/// Begins the recording, if one is wanted; before the first `QuarnSocket` and `HostLoop`. False if it cannot
/// begin: standard error then says why.
[[nodiscard]] bool beginRecording(const std::optional<std::string>& file);

/// What is wrong with that recording so far, in words; "" if nothing is known to be.
std::string recordingFlaw();

}  // namespace quarnex::tool
