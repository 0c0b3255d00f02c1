#include "platform/simulated/simulated_timer.h"

#include "quarnex/failure.h"

namespace quarnex::simulated {

void SimulatedTimer::setPeriod(std::int16_t milliseconds) {
  if (milliseconds < 0) throw Failure(5, "Invalid procedure call or argument");
  period_ = milliseconds;
  loop_.time().cancel(next_);
  if (period_ > 0) scheduleNext();
}

void SimulatedTimer::scheduleNext() {
  const Milliseconds pause = paceHigh_ > 0 ? random_.between(paceLow_, paceHigh_) : period_;
  next_ = loop_.time().at(loop_.time().now() + pause, [this] { onDue(); });
}

// After a stall a host gets one tick, not all that it missed.
void SimulatedTimer::onDue() {
  if (loop_.stalled()) {
    next_ = loop_.time().at(loop_.turnAt(0), [this] { onDue(); });
    return;
  }
  scheduleNext();
  tick();
}

}  // namespace quarnex::simulated
