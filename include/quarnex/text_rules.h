// Checks whether a text reaches the peer's host unchanged.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include "quarnex/times_and_limits.h"

#include "quarnex/export.h"

namespace quarnex {

/// The text that `Invia` takes as a command.
constexpr std::string_view kEmptyQueuesCommand = "VUOTABUFFER";

struct TextCheck {
  std::string warning;  ///< in words, "" for a text that arrives as it stands
  bool alone = false;   ///< it would harm others in its batch
  bool never = false;   ///< its batch would never be accepted: not to be sent
};

QUARNEX_API TextCheck checkText(std::string_view text);

/// Length of the message that carries `texts` texts of `bytes` bytes in all, and of the longest that is read.
constexpr std::size_t messageLength(std::size_t texts, std::size_t bytes) {
  constexpr std::string_view kHeader = "0000053", kTail = "|9CMD|9.|";
  return kHeader.size() + texts + bytes + kTail.size();
}

}  // namespace quarnex
