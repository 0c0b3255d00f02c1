#include "platform/simulated/virtual_clock.h"

#include <iterator>

namespace quarnex::simulated {
namespace {

std::int64_t wholeSeconds(Milliseconds milliseconds) {
  return milliseconds >= 0 ? milliseconds / 1000 : -((999 - milliseconds) / 1000);
}

}  // namespace

Instant VirtualClock::now() {
  if (planned_.reading > 0 || strobe_ != 0) disturb();
  return {wholeSeconds(shown() + (strobed_ ? strobe_ : 0))};
}

std::int32_t VirtualClock::utcOffset(Instant instant) {
  return std::prev(utcOffsets_.upper_bound(instant))->second;
}

void VirtualClock::setSpeed(std::int32_t thousandths) {
  shown_ = shown();
  anchor_ = time_.now();
  speed_ = thousandths;
}

void VirtualClock::disturb() {
  if (planned_.reading > 0 && --planned_.reading == 0) jump(planned_.by);
  strobed_ = strobe_ != 0 && !strobed_;
}

}  // namespace quarnex::simulated
