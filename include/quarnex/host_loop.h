// Runs the ticks and socket events of the library on the host's thread.
#pragma once

#include <chrono>

#include "quarnex/export.h"

namespace quarnex {

/// The loop of the process's own library. Ticks, socket events and log writing happen inside `turn`, on the
/// calling thread; nothing happens while nobody calls it. Instances are cheap and stand for the same loop.
class QUARNEX_API HostLoop {
 public:
  /// Waits until something is due, at most `maxWait` (0 = not at all, negative = no limit), runs what is due
  /// and returns. Data that arrives is not "due": it is looked at on ticks, five times a second. Do not call
  /// it from inside itself. Throws `Failure` if the system refuses the loop's descriptors.
  void turn(std::chrono::milliseconds maxWait);

  /// A descriptor that becomes readable when there is something to do, for a loop of the host's own (poll,
  /// GLib, Qt, Asio, asyncio): wait for it together with everything else and then call `turn(0ms)`. It
  /// belongs to the library.
  ///
  ///     pollfd waited[] = {{loop.fd(), POLLIN, 0}, {mine, POLLIN, 0}};
  ///     poll(waited, 2, -1);
  ///     loop.turn(std::chrono::milliseconds(0));
  int fd() const;
};

}  // namespace quarnex
