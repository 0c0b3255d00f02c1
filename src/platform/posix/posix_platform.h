// Bundles one event loop with the services that run on it, for one engine on a POSIX system.
#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

#include "platform/common/log_text_file.h"
#include "platform/posix/posix_sockets.h"
#include "platform/posix/posix_time.h"
#include "platform/posix/reactor.h"
#include "services/services.h"

namespace quarnex {

/// Must outlive the library that uses it. Several platforms in one process are independent of each other.
class PosixPlatform {
 public:
  /// `systemSecond` is the system's clock, which tests replace.
  explicit PosixPlatform(PosixClock::SystemSecond systemSecond = secondOfSystem) : clock_(systemSecond) {}

  Services services() { return {sockets_, timer_, clock_, logFile_}; }

  /// Like `HostLoop::turn`, for this loop.
  void turn(std::chrono::milliseconds maxWait) {
    using Wait = std::chrono::milliseconds::rep;
    reactor_.turn(static_cast<int>(std::clamp<Wait>(maxWait.count(), -1, std::numeric_limits<int>::max())));
  }
  /// Like `HostLoop::nextDeadline`, for this loop.
  std::chrono::milliseconds nextDeadline() const {
    return std::chrono::milliseconds(reactor_.hasUndelivered() ? 0 : timer_.untilTick());
  }
  /// Like `HostLoop::fd`, for this loop.
  int fd() const { return reactor_.fd(); }

 private:
  Reactor reactor_;
  PosixSockets sockets_{reactor_};
  PosixTimer timer_{reactor_};
  PosixClock clock_;
  PosixTextFile logFile_;
};

}  // namespace quarnex
