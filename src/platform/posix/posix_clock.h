// PosixClock: the wall clock in whole seconds, and the offset of the system's local time.
#pragma once

#include <cstdint>

#include "services/wall_clock.h"

namespace quarnex {

class PosixClock final : public WallClock {
 public:
  Instant now() override;
  /// By the system's time zone, which is looked at again every quarter of an hour.
  std::int32_t utcOffset(Instant instant) override;

 private:
  std::int64_t quarter_ = 0;  // the quarter of an hour for which `offset_` holds
  std::int32_t offset_ = 0;
  bool known_ = false;
};

}  // namespace quarnex
