#include "platform/posix/posix_platform.h"

#include <algorithm>
#include <limits>

namespace quarnex {

void PosixPlatform::turn(std::chrono::milliseconds maxWait) {
  using Wait = std::chrono::milliseconds::rep;
  reactor_.turn(static_cast<int>(std::clamp<Wait>(maxWait.count(), -1, std::numeric_limits<int>::max())));
  logFile_.flush();
}

}  // namespace quarnex
