// Simulates a host's loop and the timer that ticks in it, at its period or as unevenly as wanted.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/simulated/random.h"
#include "platform/simulated/virtual_time.h"
#include "quarnex/failure.h"
#include "services/timer_service.h"

namespace quarnex::simulated {

/// Events and ticks reach a host only while it turns its loop. While the loop is stalled they wait.
class Loop {
 public:
  explicit Loop(VirtualTime& time) : time_(time) {}

  VirtualTime& time() const { return time_; }
  void stall(Milliseconds duration) { turnsAgain_ = std::max(turnsAgain_, time_.now() + duration); }
  bool stalled() const { return turnsAgain_ > time_.now(); }
  /// `when`, or the end of the stall if that is later.
  Milliseconds turnAt(Milliseconds when) const { return std::max(when, turnsAgain_); }

 private:
  VirtualTime& time_;
  Milliseconds turnsAgain_ = 0;
};

class SimulatedTimer final : public TimerService {
 public:
  SimulatedTimer(Loop& loop, Random random) : loop_(loop), random_(random) {}
  ~SimulatedTimer() override { loop_.time().cancel(next_); }
  SimulatedTimer(const SimulatedTimer&) = delete;
  SimulatedTimer& operator=(const SimulatedTimer&) = delete;

  void setEvents(TimerEvents* events) override { events_ = events; }
  std::int16_t period() override { return period_; }
  void setPeriod(std::int16_t milliseconds) override {
    if (milliseconds < 0) throw Failure(5, "Invalid procedure call or argument");
    period_ = milliseconds;
    loop_.time().cancel(next_);
    if (period_ > 0) scheduleNext();
  }

  /// From the next tick on, draws each pause between ticks from this range; 0 to 0 = the period.
  void setPace(Milliseconds low, Milliseconds high) { paceLow_ = low, paceHigh_ = high; }
  /// Ticks once at once, also inside an operation or an event.
  void tick() {
    if (events_ != nullptr) events_->onTick();
  }

 private:
  void scheduleNext() {
    const Milliseconds pause = paceHigh_ > 0 ? random_.between(paceLow_, paceHigh_) : period_;
    next_ = loop_.time().at(loop_.time().now() + pause, [this] { onDue(); });
  }
  // After a stall a host gets one tick, not all that it missed.
  void onDue() {
    if (loop_.stalled()) {
      next_ = loop_.time().at(loop_.turnAt(0), [this] { onDue(); });
      return;
    }
    scheduleNext();
    tick();
  }

  Loop& loop_;
  Random random_;
  TimerEvents* events_ = nullptr;
  std::int16_t period_ = 0;
  Milliseconds paceLow_ = 0;
  Milliseconds paceHigh_ = 0;
  VirtualTime::Appointment next_;
};

}  // namespace quarnex::simulated
