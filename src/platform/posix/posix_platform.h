// PosixPlatform: one loop with the services that run on it.
#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

#include "platform/posix/posix_sockets.h"
#include "platform/posix/posix_text_file.h"
#include "platform/posix/posix_time.h"
#include "platform/posix/reactor.h"
#include "services/services.h"

namespace quarnex {

/// What a `Library` needs of a POSIX system. Several are independent of each other. It outlives the library
/// on it.
class PosixPlatform {
 public:
  Services services() { return {sockets_, timer_, clock_, logFile_}; }

  /// As `HostLoop::turn`, for this loop; the log is written when it ends.
  void turn(std::chrono::milliseconds maxWait) {
    using Wait = std::chrono::milliseconds::rep;
    reactor_.turn(static_cast<int>(std::clamp<Wait>(maxWait.count(), -1, std::numeric_limits<int>::max())));
    logFile_.flush();
  }
  /// As `HostLoop::fd`.
  int fd() const { return reactor_.fd(); }

 private:
  Reactor reactor_;
  PosixSockets sockets_{reactor_};
  PosixTimer timer_{reactor_};
  PosixClock clock_;
  PosixTextFile logFile_;
};

}  // namespace quarnex
