// Rule: each `send` carries exactly one well-formed frame with the identifier of its link.
#pragma once

#include <string_view>

#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

/// The reason why `bytes` are not exactly one well-formed frame of a link with that identifier; "" if they
/// are.
std::string_view flawOfFrame(std::string_view bytes, int identifier);

/// Applies until the host sends a text or adds an identifier that cannot be told from the frame around it.
class FrameFormat : public Check {
 public:
  using Check::Check;

  void added(std::int16_t link) { plain_ = plain_ && engine_.at(link).identifier >= 0; }
  void called(const HostCall& call);
  void performs(std::int16_t link, const ServiceCall& call) {
    if (call.operation != Operation::Send || !plain_) return;
    const std::string_view flaw = flawOfFrame(call.text(), engine_.at(link).identifier);
    if (!flaw.empty()) engine_.report(link, flaw);
  }

 private:
  bool plain_ = true;
};

}  // namespace quarnex::simulation
