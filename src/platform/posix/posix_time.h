// Provides the tick from a timerfd, and the wall clock with the offset of local time.
#pragma once

#include <cstdint>

#include "platform/posix/descriptor.h"
#include "platform/posix/reactor.h"
#include "services/forward_clock.h"
#include "services/timer_service.h"
#include "services/wall_clock.h"

namespace quarnex {

class PosixTimer final : public TimerService, private Watcher {
 public:
  /// `reactor` outlives the timer. Throws `Failure` if the system has no descriptors left.
  explicit PosixTimer(Reactor& reactor);
  ~PosixTimer() override;
  PosixTimer(const PosixTimer&) = delete;
  PosixTimer& operator=(const PosixTimer&) = delete;

  void setEvents(TimerEvents* events) override { events_ = events; }
  std::int16_t period() override { return period_; }
  /// Failure 5 for a negative period.
  void setPeriod(std::int16_t milliseconds) override;
  /// Milliseconds until the next tick, rounded up; -1 while the timer is stopped.
  std::int64_t untilTick() const;

 private:
  void onReady(std::uint32_t events) override;

  Reactor& reactor_;
  Descriptor timer_;
  Reactor::Key key_;
  TimerEvents* events_ = nullptr;
  std::int16_t period_ = 0;
};

/// The system's clock, except that it never goes back (see `ForwardClock`). Local time follows the system's
/// clock and time zone.
class PosixClock final : public WallClock {
 public:
  /// Seconds since 1970-01-01 UTC, as the system's clock shows them.
  using SystemSecond = std::int64_t (*)();

  explicit PosixClock(SystemSecond systemSecond) : systemSecond_(systemSecond) {}

  Instant now() override { return forward_.follow(systemSecond_()); }
  /// Looks once a second whether the time zone has changed, which costs one call of stat(2).
  std::int32_t utcOffset(Instant instant) override;
  /// The milliseconds continue while the machine is suspended (CLOCK_BOOTTIME).
  Moment moment() override;

 private:
  SystemSecond systemSecond_;
  ForwardClock forward_;
  std::int64_t offsetSecond_ = 0;  // of the system's clock, for which `offset_` holds
  std::int32_t offset_ = 0;        // of local time from the system's clock
  bool known_ = false;
};

/// Seconds since 1970-01-01 UTC from time(2).
std::int64_t secondOfSystem();

}  // namespace quarnex
