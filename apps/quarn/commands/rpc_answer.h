// One request of JSON-RPC 2.0 in, its response out: the host methods called by name.
#pragma once

#include <string>
#include <string_view>

#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

/// Answers one line, of any bytes. The response is one line without its end; "" for a request without an
/// `id`, which is carried out and not answered.
std::string answerRequest(QuarnSocket& quarn, std::string_view line);

}  // namespace quarnex::tool
