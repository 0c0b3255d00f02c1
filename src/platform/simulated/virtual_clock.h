// VirtualClock: a host's wall clock, which follows virtual time unless it is set or disturbed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>

#include "platform/simulated/virtual_time.h"
#include "services/wall_clock.h"

namespace quarnex::simulated {

class VirtualClock final : public WallClock {
 public:
  /// Shows `start` now.
  VirtualClock(const VirtualTime& time, Instant start) : time_(time), shown_(start.second * kSecond) {}

  Instant now() override { return time_.now() == readAt_ ? reading_ : read(); }
  std::int32_t utcOffset(Instant instant) override {
    return utcOffsets_.size() == 1 ? utcOffsets_.begin()->second
                                   : std::prev(utcOffsets_.upper_bound(instant))->second;
  }

  Moment moment() override { return {wholeSeconds(shown()), time_.now()}; }

  /// Sets the clock forward, or back if negative.
  void jump(Milliseconds by) {
    shown_ += by;
    readAt_ = -1;
  }
  /// From now on the clock runs at so many thousandths of the true speed: 1000 = true, 0 = it stands.
  void setSpeed(std::int32_t thousandths) {
    shown_ = shown();
    anchor_ = time_.now();
    speed_ = thousandths;
    readAt_ = -1;
  }
  /// Sets the clock by `by` after `readings` more readings: inside a step, for example.
  void jumpAfterReadings(std::uint64_t readings, Milliseconds by) {
    readingsToJump_ = readings + 1;
    jumpBy_ = by;
    readAt_ = -1;
  }
  /// From now on every second reading is wrong by this; 0 = none.
  void strobe(Milliseconds by) {
    strobe_ = by;
    strobed_ = false;
    readAt_ = -1;
  }
  /// Ends every disturbance. The clock keeps the time that it shows.
  void calm() {
    setSpeed(1000);
    strobe(0);
    readingsToJump_ = 0;
  }

  /// How far the clock is behind the latest time that it has ever shown: deadlines may lie so far ahead.
  Milliseconds behindLatest() { return (latest_.second - now().second) * kSecond; }

  /// Local time is `seconds` ahead of UTC from the instant `since` on, as when summer time begins or ends.
  void setUtcOffset(std::int32_t seconds, Instant since = {INT64_MIN}) { utcOffsets_[since] = seconds; }

 private:
  // An undisturbed clock is read many times in the same millisecond, and computes its reading once.
  Instant read() {
    const bool disturbed = readingsToJump_ > 0 || strobe_ != 0;
    if (disturbed) disturb();
    reading_ = {wholeSeconds(shown() + (strobed_ ? strobe_ : 0))};
    latest_ = std::max(latest_, reading_);
    readAt_ = disturbed ? -1 : time_.now();
    return reading_;
  }
  void disturb() {
    if (readingsToJump_ > 0 && --readingsToJump_ == 0) jump(jumpBy_);
    strobed_ = strobe_ != 0 && !strobed_;
  }
  static std::int64_t wholeSeconds(Milliseconds milliseconds) {
    return milliseconds >= 0 ? milliseconds / kSecond : -((kSecond - 1 - milliseconds) / kSecond);
  }
  /// In milliseconds since 1970-01-01 UTC.
  Milliseconds shown() const { return shown_ + (time_.now() - anchor_) * speed_ / 1000; }

  const VirtualTime& time_;
  Milliseconds anchor_ = time_.now();  // virtual time at which the clock showed `shown_`
  Milliseconds shown_;
  std::int32_t speed_ = 1000;
  Milliseconds readAt_ = -1;  // at this virtual time the clock reads `reading_`; -1 = unknown
  Instant reading_;
  Instant latest_{INT64_MIN};
  std::uint64_t readingsToJump_ = 0;  // 0: no jump is planned
  Milliseconds jumpBy_ = 0;
  Milliseconds strobe_ = 0;
  bool strobed_ = false;
  std::map<Instant, std::int32_t> utcOffsets_{{Instant{INT64_MIN}, 0}};
};

}  // namespace quarnex::simulated
