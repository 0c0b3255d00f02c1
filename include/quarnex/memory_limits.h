// Limits the memory that peers can make a process use.
#pragma once

#include <cstddef>

namespace quarnex {

/// Bytes that the links of a process may hold because of what their peers send, or do not read. Ordinary
/// links stay far below: a message has at most 32 KiB and is handled in the tick that fetches it.
struct MemoryLimits {
  /// Received by one link and not yet handled. A link that holds more fetches nothing: TCP then slows its
  /// peer, and nothing is lost.
  std::size_t unhandled = std::size_t{1} << 20;
  /// Of one frame that has not ended. A link that receives more has failed.
  std::size_t frame = std::size_t{64} << 20;
  /// Sent by one link and not yet accepted by the system. Sending fails with 10055 while a link holds more,
  /// so a link holds at most this and one frame.
  std::size_t unsent = std::size_t{1} << 20;
  /// Of all links together: three quarters for received bytes, received texts, reports and captured traces,
  /// and one quarter for bytes not yet sent. A link may hold as much of its part as is free, so a flooded
  /// link leaves half of it to the others. Beyond that a link fetches nothing, its captured traces and
  /// received items lose their oldest, and sending fails with 10055.
  std::size_t process = std::size_t{256} << 20;
};

}  // namespace quarnex
