// Answers JSON-RPC 2.0 requests by calling the host methods by name.
#pragma once

#include <string>
#include <string_view>

#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

/// Executes the request in one line (any bytes) and returns the response, one line without a line end. A
/// request without `id` is executed but not answered: returns "".
std::string answerRequest(QuarnSocket& quarn, std::string_view line);

}  // namespace quarnex::tool
