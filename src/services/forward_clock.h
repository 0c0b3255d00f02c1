// Derives a clock that never goes back from the system's clock, which can be set back.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "services/wall_clock.h"

namespace quarnex {

/// Follows the system's clock forward, also where it jumps or is slewed. While the system's clock shows the
/// last second again, as it may at the end of a leap second, the reading stays. Where the system's clock is
/// set back further, the readings go on from the last one and stay ahead of the system's clock by the size of
/// the step, for good: deadlines keep their distance, and local time is printed with `ahead` subtracted.
class ForwardClock {
 public:
  /// The reading that belongs to the second `system` of the system's clock.
  Instant follow(std::int64_t system) {
    if (system + ahead_ + 1 < latest_.second) ahead_ = latest_.second - system;
    latest_.second = std::max(latest_.second, system + ahead_);
    return latest_;
  }
  /// Seconds that the readings are ahead of the system's clock; 0 until that is set back.
  std::int64_t ahead() const { return ahead_; }
  /// The second of the system's clock that belongs to a reading.
  std::int64_t systemSecond(Instant reading) const { return reading.second - ahead_; }
  /// Seconds that local time is ahead of a reading, where it is `utcOffset` seconds ahead of the system's
  /// clock. Limited to 68 years.
  std::int32_t offsetOf(std::int32_t utcOffset) const {
    using Range = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(utcOffset - ahead_, Range::min(), Range::max()));
  }

 private:
  Instant latest_{std::numeric_limits<std::int64_t>::min() + 1};
  std::int64_t ahead_ = 0;
};

}  // namespace quarnex
