// SimulatedTimer: the tick in virtual time, at its period or as unevenly as wanted.
#pragma once

#include <cstdint>

#include "platform/simulated/random.h"
#include "platform/simulated/simulated_loop.h"
#include "services/timer_service.h"

namespace quarnex::simulated {

class SimulatedTimer final : public TimerService {
 public:
  SimulatedTimer(Loop& loop, Random random) : loop_(loop), random_(random) {}
  ~SimulatedTimer() override { loop_.time().cancel(next_); }
  SimulatedTimer(const SimulatedTimer&) = delete;
  SimulatedTimer& operator=(const SimulatedTimer&) = delete;

  void setEvents(TimerEvents* events) override { events_ = events; }
  std::int16_t period() override { return period_; }
  void setPeriod(std::int16_t milliseconds) override;

  /// From the next tick on ticks come so far apart, drawn anew each time, whatever the period; 0 to 0 = the
  /// period.
  void setPace(Milliseconds low, Milliseconds high);
  /// One tick at once, also from inside an operation or an event.
  void tick();
  std::uint64_t ticks() const { return ticks_; }

 private:
  void scheduleNext();
  void onDue();

  Loop& loop_;
  Random random_;
  TimerEvents* events_ = nullptr;
  std::int16_t period_ = 0;
  Milliseconds paceLow_ = 0;
  Milliseconds paceHigh_ = 0;
  VirtualTime::Appointment next_;
  std::uint64_t ticks_ = 0;
};

}  // namespace quarnex::simulated
