// Rule: a tick calls, listens, gives up and counts an expiry only after the deadline for it.
#pragma once

#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

class EarlyDeadlines : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  // After the peer's orderly close a server listens again at once, but in the close event, not in a tick.
  void performs(std::int16_t link, const ServiceCall& call) {
    if (call.operation != Operation::Connect && call.operation != Operation::Listen) return;
    if (!isBefore(before(link).stateDeadline)) return;
    engine_.report(link, call.operation == Operation::Connect ? "a peer was called before the deadline"
                                                              : "a link listened before the deadline");
  }

  // A connection is given up when its peer is silent for too long, or as soon as an operation fails.
  void traced(std::int16_t link, std::string_view text) {
    if (!begins(text, "NON RISPONDE ")) return;
    const RecordedState& state = before(link);
    const bool early = state.connected ? !records_.recordedAt(link).failed && isBefore(state.aliveDeadline) &&
                                             isBefore(state.replyDeadline)
                                       : isBefore(state.stateDeadline);
    if (early) engine_.report(link, "a link was given up before the deadline");
  }

  void changed(std::int16_t link, const RecordedState& state, const ConnectionRecord& now) {
    if (!engine_.step.steady) return;
    if (now.ContaAlive > state.expiries && isBefore(state.aliveDeadline))
      engine_.report(link, "the keep-alive expired early");
    if (now.ContaTimeoutB > state.missedReplies && isBefore(state.replyDeadline))
      engine_.report(link, "an answer was given up early");
  }

 private:
  const RecordedState& before(std::int16_t link) { return records_.recordedAt(link).before; }
  bool isBefore(Instant deadline) const { return engine_.step.isBefore(deadline); }
};

}  // namespace quarnex::simulation
