#include "platform/posix/posix_clock.h"

#include <time.h>

namespace quarnex {

Instant PosixClock::now() {
  return {::time(nullptr)};
}

// Clocks are put forward and back on quarters of an hour only.
std::int32_t PosixClock::utcOffset(Instant instant) {
  constexpr std::int64_t kQuarterSeconds = 900;
  const std::int64_t quarter = instant.second / kQuarterSeconds;
  if (known_ && quarter == quarter_) return offset_;
  ::tzset();
  const time_t second = instant.second;
  tm local{};
  if (::localtime_r(&second, &local) == nullptr) return 0;
  quarter_ = quarter;
  offset_ = static_cast<std::int32_t>(local.tm_gmtoff);
  known_ = true;
  return offset_;
}

}  // namespace quarnex
