#include "platform/simulated/virtual_clock.h"

#include <algorithm>

namespace quarnex::simulated {
namespace {

std::int64_t wholeSeconds(Milliseconds milliseconds) {
  return milliseconds >= 0 ? milliseconds / kSecond : -((kSecond - 1 - milliseconds) / kSecond);
}

}  // namespace

// An undisturbed clock is read many times in the same millisecond, and computes its reading once.
Instant VirtualClock::read() {
  const bool disturbed = planned_.reading > 0 || strobe_ != 0;
  if (disturbed) disturb();
  reading_ = {wholeSeconds(shown() + (strobed_ ? strobe_ : 0))};
  latest_ = std::max(latest_, reading_);
  readAt_ = disturbed ? -1 : time_.now();
  return reading_;
}

void VirtualClock::jump(Milliseconds by) {
  shown_ += by;
  readAt_ = -1;
}

void VirtualClock::setSpeed(std::int32_t thousandths) {
  shown_ = shown();
  anchor_ = time_.now();
  speed_ = thousandths;
  readAt_ = -1;
}

void VirtualClock::jumpAfterReadings(std::uint64_t readings, Milliseconds by) {
  planned_ = {readings + 1, by};
  readAt_ = -1;
}

void VirtualClock::strobe(Milliseconds by) {
  strobe_ = by;
  strobed_ = false;
  readAt_ = -1;
}

void VirtualClock::calm() {
  setSpeed(1000);
  strobe(0);
  planned_ = {};
}

void VirtualClock::disturb() {
  if (planned_.reading > 0 && --planned_.reading == 0) jump(planned_.by);
  strobed_ = strobe_ != 0 && !strobed_;
}

}  // namespace quarnex::simulated
