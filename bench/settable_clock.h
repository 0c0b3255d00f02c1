// Provides the system's time for measurements, with skips ahead and a stop.
#pragma once

#include <time.h>

#include <cstdint>
#include <optional>

#include "services/wall_clock.h"

namespace quarnex::bench {

class SettableClock final : public WallClock {
 public:
  Instant now() override { return stopped_ ? *stopped_ : Instant{::time(nullptr) + ahead_}; }
  std::int32_t utcOffset(Instant) override { return 0; }

  void setForward(std::int64_t seconds) { ahead_ += seconds; }
  /// Stops at the current second, so that nothing falls due any more.
  void stop() { stopped_ = now(); }

 private:
  std::int64_t ahead_ = 0;
  std::optional<Instant> stopped_;
};

}  // namespace quarnex::bench
