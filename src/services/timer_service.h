// The timer control as the engine sees it: one period, one tick.
#pragma once

#include <cstdint>

namespace quarnex {

/// Receiver of the tick.
class TimerEvents {
 public:
  virtual ~TimerEvents() = default;
  virtual void onTick() = 0;
};

/// A periodic timer on the library's thread. Both operations may throw `Failure`.
class TimerService {
 public:
  virtual ~TimerService() = default;
  /// Names the receiver of the ticks, which must outlive the timer's use; nullptr for nobody.
  virtual void setEvents(TimerEvents* events) = 0;
  /// Milliseconds; 0 = stopped.
  virtual std::int16_t period() = 0;
  /// Starts (1 and up) or stops (0) the ticks. A loop that comes late gets one tick, not a burst of them.
  virtual void setPeriod(std::int16_t milliseconds) = 0;
};

}  // namespace quarnex
