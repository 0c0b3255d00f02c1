// Loop: when a host turns its message loop, and when it does not.
#pragma once

#include <algorithm>

#include "platform/simulated/virtual_time.h"

namespace quarnex::simulated {

/// Events and ticks reach a host only while it turns its loop. A stalled host gets nothing; what came
/// meanwhile comes when it turns again.
class Loop {
 public:
  explicit Loop(VirtualTime& time) : time_(time) {}

  VirtualTime& time() const { return time_; }
  /// No turn for the next `duration`.
  void stall(Milliseconds duration) { turnsAgain_ = std::max(turnsAgain_, time_.now() + duration); }
  bool stalled() const { return turnsAgain_ > time_.now(); }
  /// `when`, or as soon as the host turns its loop after that.
  Milliseconds turnAt(Milliseconds when) const { return std::max(when, turnsAgain_); }

 private:
  VirtualTime& time_;
  Milliseconds turnsAgain_ = 0;
};

}  // namespace quarnex::simulated
