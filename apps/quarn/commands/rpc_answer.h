// Answers JSON-RPC 2.0 requests by calling methods of the library by name.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "quarn/commands/rpc_methods.h"

namespace quarnex::tool {

/// Longest request. The longest text that fits into a message needs less than 200 KiB with every character
/// escaped ("\u00E8").
constexpr std::size_t kRequestBytesMax = std::size_t{1024} * 1024;

/// Executes the request in one line (any bytes) and returns the response, one line without a line end. The
/// response carries the id exactly as it was sent. A request without `id` is executed but not answered:
/// returns "". Takes at most a few milliseconds for a line of `kRequestBytesMax`, beside the time of the
/// method.
std::string answerRequest(RpcSession& session, std::string_view line);

/// An event as a notification, one line without a line end.
std::string notificationOf(const LinkEvent& event);

/// The response to a line that is longer than `kRequestBytesMax`, and therefore not a request.
std::string refuseLongRequest();

}  // namespace quarnex::tool
