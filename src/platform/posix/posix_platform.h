// Bundles one event loop with the services that run on it, on a POSIX system.
#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

#include "platform/common/host_platform.h"
#include "platform/common/log_text_file.h"
#include "platform/posix/posix_sockets.h"
#include "platform/posix/posix_time.h"
#include "platform/posix/reactor.h"

namespace quarnex {

class PosixPlatform final : public HostPlatform {
 public:
  /// `systemSecond` is the system's clock, which tests replace.
  explicit PosixPlatform(PosixClock::SystemSecond systemSecond = secondOfSystem) : clock_(systemSecond) {}

  Services services() override { return {sockets_, timer_, clock_, logFile_}; }

  void turn(std::chrono::milliseconds maxWait) override {
    using Wait = std::chrono::milliseconds::rep;
    reactor_.turn(static_cast<int>(std::clamp<Wait>(maxWait.count(), -1, std::numeric_limits<int>::max())));
  }
  std::chrono::milliseconds nextDeadline() const override {
    return std::chrono::milliseconds(reactor_.hasUndelivered() ? 0 : timer_.untilTick());
  }
  /// Like `HostLoop::fd`, for this loop.
  int fd() const { return reactor_.fd(); }

 private:
  Reactor reactor_;
  PosixSockets sockets_{reactor_};
  PosixTimer timer_{reactor_};
  PosixClock clock_;
  LogTextFile logFile_;
};

}  // namespace quarnex
