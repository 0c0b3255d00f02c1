// Rule: each tick looks for bytes on each connected link. Reads the engine's records.
#pragma once

#include <utility>

#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

class Visits : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  // A link whose socket could not be made or fails need not be looked at.
  void visited(std::int16_t link, const RecordedState& before, const ConnectionRecord& now) {
    RecordedLink& state = records_.recordedAt(link);
    if (std::exchange(state.lookedAt, false) || !state.hasSocket || state.failed) return;
    if (before.connected && RecordedState::isConnected(now) && engine_.step.isLoneTick())
      engine_.report(link, "a tick passed a connected link over");
  }
};

}  // namespace quarnex::simulation
