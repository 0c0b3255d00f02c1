// Provides the tick from a timerfd, and the wall clock with the offset of local time.
#pragma once

#include <cstdint>

#include "platform/posix/descriptor.h"
#include "platform/posix/reactor.h"
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

 private:
  void onReady(std::uint32_t events) override;

  Reactor& reactor_;
  Descriptor timer_;
  Reactor::Key key_;
  TimerEvents* events_ = nullptr;
  std::int16_t period_ = 0;
};

class PosixClock final : public WallClock {
 public:
  Instant now() override;
  /// Follows the system's time zone, which it reads again every quarter of an hour.
  std::int32_t utcOffset(Instant instant) override;

 private:
  std::int64_t quarter_ = 0;  // the quarter of an hour for which `offset_` holds
  std::int32_t offset_ = 0;
  bool known_ = false;
};

}  // namespace quarnex
