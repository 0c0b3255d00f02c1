// Rule: in one tick a link handles at most one received frame and sends at most one frame.
#pragma once

#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

class Pacing : public Check {
 public:
  using Check::Check;

  void traced(std::int16_t link, std::string_view text) {
    if (text.empty() || text.front() != 'R' || !engine_.at(link).tcp) return;
    Frames& frames = frames_[link];
    const bool intact = text.starts_with("R>");
    if (intact || text.starts_with("RADV>")) ++frames.received;
    if (intact && engine_.at(link).received->hasForeignBody()) frames.mayAnswerTwice = true;
  }
  void performs(std::int16_t link, const ServiceCall& call) {
    if (call.operation != Operation::Send) return;
    ++engine_.site.framesSent;
    ++frames_[link].sent;
  }

  // A frame that holds both a text and a query is answered twice. Only strangers send one; but pieces of
  // several frames may also make one whose checksum fits.
  template <class Before, class After>
  void changed(std::int16_t link, const Before&, const After&) {
    Frames& frames = frames_[link];
    const std::uint64_t ticks = engine_.step.ticks;
    if (frames.received > ticks) engine_.report(link, "more than one received frame was handled in a tick");
    if (frames.sent > (frames.mayAnswerTwice ? 2 : 1) * ticks)
      engine_.report(link, "more than one frame was sent in a tick");
    frames = {};
  }

 private:
  struct Frames {  // in the step under way
    std::uint64_t received = 0, sent = 0;
    bool mayAnswerTwice = false;
  };

  PerIndex<Frames> frames_;
};

}  // namespace quarnex::simulation
