// VirtualClock: a host's wall clock, which follows virtual time until somebody tampers with it.
#pragma once

#include <cstdint>
#include <iterator>
#include <map>

#include "platform/simulated/virtual_time.h"
#include "services/wall_clock.h"

namespace quarnex::simulated {

class VirtualClock final : public WallClock {
 public:
  /// Shows `start` now.
  VirtualClock(const VirtualTime& time, Instant start) : time_(time), shown_(start.second * 1000) {}

  Instant now() override { return time_.now() == readAt_ ? reading_ : read(); }
  std::int32_t utcOffset(Instant instant) override {
    return utcOffsets_.size() == 1 ? utcOffsets_.begin()->second
                                   : std::prev(utcOffsets_.upper_bound(instant))->second;
  }

  /// Sets the clock forward, or back if negative.
  void jump(Milliseconds by);
  /// From now on the clock runs at so many thousandths of the true speed: 1000 = true, 0 = it stands.
  void setSpeed(std::int32_t thousandths);
  /// Sets the clock by `by` right before the reading that comes after `readings` more ones: inside a step,
  /// say.
  void jumpAfterReadings(std::uint64_t readings, Milliseconds by);
  /// From now on every second reading is off by this; 0 = none.
  void strobe(Milliseconds by);
  /// Nothing disturbs it any more; it keeps the time that it shows.
  void calm();

  /// So much has been taken back from the latest that the clock has ever read: deadlines may lie that far
  /// ahead.
  Milliseconds behindLatest() { return (latest_.second - now().second) * 1000; }

  /// Local time is `seconds` ahead of UTC from the instant `since` on, as when summer time begins or ends.
  void setUtcOffset(std::int32_t seconds, Instant since = {INT64_MIN}) { utcOffsets_[since] = seconds; }

 private:
  struct PlannedJump {
    std::uint64_t reading = 0;  // counts down; 0 = none
    Milliseconds by = 0;
  };

  Instant read();
  void disturb();
  /// What the clock shows, in milliseconds since 1970-01-01 UTC.
  Milliseconds shown() const { return shown_ + (time_.now() - anchor_) * speed_ / 1000; }

  const VirtualTime& time_;
  Milliseconds anchor_ = time_.now();  // virtual time at which the clock showed `shown_`
  Milliseconds shown_;
  std::int32_t speed_ = 1000;
  Milliseconds readAt_ = -1;  // while it is still that time, the clock reads `reading_`; -1 = look again
  Instant reading_;
  Instant latest_{INT64_MIN};
  PlannedJump planned_;
  Milliseconds strobe_ = 0;
  bool strobed_ = false;
  std::map<Instant, std::int32_t> utcOffsets_{{Instant{INT64_MIN}, 0}};
};

}  // namespace quarnex::simulated
