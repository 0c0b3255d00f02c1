// A clock for measurements: the system's, set forward past a wait or stopped.
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
  /// From here on it is always the present second, so that nothing falls due any more.
  void stop() { stopped_ = now(); }

 private:
  std::int64_t ahead_ = 0;
  std::optional<Instant> stopped_;
};

}  // namespace quarnex::bench
