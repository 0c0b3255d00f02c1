// Runs the ticks and socket events of the library on the host's thread.
#pragma once

#include <chrono>

#include "quarnex/export.h"

namespace quarnex {

/// The loop of the process's own library. Ticks and socket events happen inside `turn`, on the
/// calling thread, and at no other time. All instances refer to the same loop and cost nothing.
class QUARNEX_API HostLoop {
 public:
  /// Waits until a tick or a socket event is due, at most `maxWait` (0 = not at all, negative = no limit),
  /// runs everything that is due and returns. Arriving data does not end the wait: the library examines it on
  /// ticks, every `kTickMilliseconds`. Do not call `turn` from inside a turn. Throws `Failure` 10024 if no
  /// descriptors are left for the loop, which the first call in a process creates; a later call tries again.
  /// Throws another `Failure`, 10009 for example, at each call after the program has closed the descriptors
  /// of the loop: the links are dead then. A daemon closes inherited descriptors before it uses the library.
  void turn(std::chrono::milliseconds maxWait);

  /// The time that the host may sleep before it calls `turn(0ms)`, if no descriptor becomes ready; negative =
  /// no limit, because no link has been opened. For a loop that takes a timeout beside the descriptor. Throws
  /// like `turn`.
  std::chrono::milliseconds nextDeadline() const;

  /// A descriptor that becomes readable when a turn has work to do, for a loop of the host's own (poll, GLib,
  /// Qt, Asio, asyncio): wait for it together with the host's descriptors, then call `turn(0ms)`. The library
  /// owns the descriptor. Throws like `turn`.
  ///
  ///     pollfd waited[] = {{loop.fd(), POLLIN, 0}, {mine, POLLIN, 0}};
  ///     poll(waited, 2, -1);
  ///     loop.turn(std::chrono::milliseconds(0));
  ///
  /// Windows has no such descriptor: ticks and socket events arrive as messages of the thread that made the
  /// first call, so a host with a message loop of its own needs neither this nor `turn`.
#ifndef _WIN32
  int fd() const;
#endif
};

}  // namespace quarnex
