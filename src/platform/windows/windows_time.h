// Provides the tick of a Windows loop, and the wall clock with the offset of local time.
#pragma once

#include <cstdint>

#include "platform/windows/windows_loop.h"
#include "services/forward_clock.h"
#include "services/timer_service.h"
#include "services/wall_clock.h"

namespace quarnex {

class WindowsTimer final : public TimerService {
 public:
  /// `loop` outlives the timer.
  explicit WindowsTimer(WindowsLoop& loop) : loop_(loop) {}

  void setEvents(TimerEvents* events) override;
  std::int16_t period() override { return period_; }
  /// Failure 5 for a negative period.
  void setPeriod(std::int16_t milliseconds) override;

 private:
  WindowsLoop& loop_;
  std::int16_t period_ = 0;
};

/// The system's clock, except that it never goes back (see `ForwardClock`). Local time follows the system's
/// clock and time zone.
class WindowsClock final : public WallClock {
 public:
  /// Seconds since 1970-01-01 UTC, as the system's clock shows them.
  using SystemSecond = std::int64_t (*)();

  explicit WindowsClock(SystemSecond systemSecond) : systemSecond_(systemSecond) {}

  Instant now() override { return forward_.follow(systemSecond_()); }
  std::int32_t utcOffset(Instant instant) override;
  /// The milliseconds continue while the machine sleeps.
  Moment moment() override;

 private:
  SystemSecond systemSecond_;
  ForwardClock forward_;
};

/// Seconds since 1970-01-01 UTC of the system's clock.
std::int64_t secondOfSystem();

}  // namespace quarnex
