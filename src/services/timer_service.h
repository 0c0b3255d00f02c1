// Interface of the periodic timer that makes the engine tick.
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
  /// Sets the receiver of the ticks, which outlives the timer's use; nullptr removes it.
  virtual void setEvents(TimerEvents* events) = 0;
  /// Milliseconds; 0 = stopped.
  virtual std::int16_t period() = 0;
  /// Starts (1 and up) or stops (0) the ticks. A late loop gets one tick, not one for each missed period.
  virtual void setPeriod(std::int16_t milliseconds) = 0;
};

}  // namespace quarnex
