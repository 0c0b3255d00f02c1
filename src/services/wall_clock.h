// Interface of the wall clock: whole seconds for deadlines, and their conversion to local time.
#pragma once

#include <compare>
#include <cstdint>

namespace quarnex {

/// A whole second of the wall clock, counted from 1970-01-01 UTC. Deadlines are instants, so that a change to
/// or from daylight saving time moves none of them.
struct Instant {
  std::int64_t second = 0;
  auto operator<=>(const Instant&) const = default;
};

/// True if `now` is later than `deadline`. A deadline has not passed during its own second.
constexpr bool passed(Instant deadline, Instant now) {
  return now > deadline;
}

/// Date and time as people write them: month 1 to 12, day 1 to 31, hour 0 to 23, minute and second 0 to 59.
struct LocalTime {
  std::int64_t year = 1970;
  int month = 1, day = 1, hour = 0, minute = 0, second = 0;
};

/// A moment for people: the second that the system's clock shows, which may go back, and milliseconds of a
/// clock that never does, since an arbitrary moment.
struct Moment {
  std::int64_t systemSecond = 0;
  std::int64_t milliseconds = 0;
};

class WallClock {
 public:
  virtual ~WallClock() = default;
  virtual Instant now() = 0;
  /// Seconds that local time is ahead of UTC at `instant`.
  virtual std::int32_t utcOffset(Instant instant) = 0;
  /// For observation only: never recorded.
  virtual Moment moment() { return {}; }
};

/// Local time of `instant` where clocks are `utcOffset` seconds ahead of UTC (Gregorian calendar, no leap
/// seconds).
LocalTime localTime(Instant instant, std::int32_t utcOffset);

}  // namespace quarnex
