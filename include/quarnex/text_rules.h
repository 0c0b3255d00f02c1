// Checks whether a text reaches the peer's host unchanged.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "quarnex/export.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {

/// The text that `Invia` does not send: it empties the link's outbound and inbound queues.
constexpr std::string_view kEmptyQueuesCommand = "VUOTABUFFER";

/// The effect of a text on its way to the peer's host.
struct TextCheck {
  std::string warning;  ///< the reason why it does not arrive unchanged, in words; "" if it does
  bool alone = false;   ///< it would damage other texts of its batch: queue it alone
  bool never = false;   ///< the peer would never accept its batch, so do not send it
};

/// Predicts the effect of `text` (any bytes, any length) over TCP if it is sent in a batch of its own.
/// Depends on the text alone. Throws only if memory runs out.
QUARNEX_API TextCheck checkText(std::string_view text);

/// Length in characters of the message that carries `texts` texts of `bytes` bytes in all. The peer accepts
/// messages of at most `kMessageLengthMax` characters.
constexpr std::size_t messageLength(std::size_t texts, std::size_t bytes) {
  constexpr std::string_view kHeader = "0000053", kTail = "|9CMD|9.|";
  return kHeader.size() + texts + bytes + kTail.size();
}

}  // namespace quarnex
