// Rule: a tick looks for bytes on each connected link and acts on each deadline that has passed.
#pragma once

#include <utility>

#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

class MissedWork : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  // A link that acts on a deadline sets it anew. It handles a received frame first, and the sub-state of the
  // exchange on a later tick.
  void changed(std::int16_t link, const RecordedState& before, const ConnectionRecord& now) {
    if (!engine_.step.steady || !engine_.step.isLoneTick()) return;
    const auto missed = [&](Instant deadline, Instant unchanged) {
      return unchanged == deadline && engine_.step.isAfter(deadline);
    };
    const RecordedState after = RecordedState::of(now);
    if (before.trying && after.trying && missed(before.stateDeadline, after.stateDeadline))
      engine_.report(link, "a tick did not notice that the time of an attempt was over");
    if (!before.connected || !after.connected) return;
    if (missed(before.aliveDeadline, after.aliveDeadline))
      engine_.report(link, "a tick did not notice that the keep-alive had expired");
    constexpr std::int16_t waitingForAnAnswer = 2;  // 3 is idle, and both have a deadline
    const bool exchanging = before.exchange < waitingForAnAnswer || before.exchange != after.exchange ||
                            after.framesReceived > before.framesReceived;
    if (!exchanging && missed(before.replyDeadline, after.replyDeadline))
      engine_.report(link, "a tick did not notice that an answer was overdue");
  }

  // A link whose socket could not be made or fails need not be looked at.
  void visited(std::int16_t link, const RecordedState& before, const ConnectionRecord& now) {
    RecordedLink& state = records_.recordedAt(link);
    if (std::exchange(state.lookedAt, false) || !state.hasSocket || state.failed) return;
    if (before.connected && RecordedState::isConnected(now) && engine_.step.isLoneTick())
      engine_.report(link, "a tick passed a connected link over");
  }
};

}  // namespace quarnex::simulation
