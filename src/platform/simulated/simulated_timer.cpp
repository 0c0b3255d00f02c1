#include "platform/simulated/simulated_timer.h"

#include "quarnex/failure.h"

namespace quarnex::simulated {

void SimulatedTimer::setPeriod(std::int16_t milliseconds) {
  if (milliseconds < 0) throw Failure(5, "Invalid procedure call or argument");
  period_ = milliseconds;
  loop_.time().cancel(next_);
  if (period_ > 0) scheduleNext();
}

void SimulatedTimer::setPace(Milliseconds low, Milliseconds high) {
  paceLow_ = low;
  paceHigh_ = high;
}

void SimulatedTimer::tick() {
  ++ticks_;
  if (events_ != nullptr) events_->onTick();
}

void SimulatedTimer::scheduleNext() {
  const Milliseconds gap = paceHigh_ > 0 ? random_.between(paceLow_, paceHigh_) : period_;
  next_ = loop_.time().at(loop_.time().now() + gap, [this] { onDue(); });
}

// A host that stalled gets one tick when it turns its loop again, not those that it missed.
void SimulatedTimer::onDue() {
  if (loop_.stalled()) {
    next_ = loop_.time().at(loop_.turnAt(0), [this] { onDue(); });
    return;
  }
  scheduleNext();
  tick();
}

}  // namespace quarnex::simulated
