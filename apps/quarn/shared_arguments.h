// Describes the arguments that several commands share: TIPO and ID, which name a link and determine its port,
// and --record, which starts a recording.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quarn/command.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

/// The type of the peer, of any bytes.
Argument typeArgument(std::string& type);
/// The identifier of the peer: a signed whole number of 16 bits; other values are refused.
Argument identifierArgument(std::int16_t& identifier);

struct LinkPort {
  std::int32_t port = 0;  ///< 0 if the link has no port
  std::string problem;    ///< the reason, and a value to use instead; "" if there is a port
};

LinkPort portOfLink(std::string_view type, std::int16_t identifier);

/// Returns a warning for an identifier that has a port but does not fit into messages; "" for any other.
std::string identifierWarning(std::int16_t identifier);

Argument recordOption(std::optional<std::string>& file);

/// Starts recording every link of the process, if `file` is set. Call it before creating a `QuarnSocket` or
/// `HostLoop`. Returns false, after a message on standard error, if the file cannot be created.
[[nodiscard]] bool beginRecording(const std::optional<std::string>& file);

/// Describes the bytes that the disk has not accepted so far; "" if the recording is complete.
std::string recordingProblem();

/// Waits until log and recording are written, at most 2 seconds for a disk that hangs. Returns a description
/// of what is missing in each of them, whenever it was lost; nothing if both are complete.
[[nodiscard]] std::vector<std::string> finishFiles(QuarnSocket& quarn);

}  // namespace quarnex::tool
