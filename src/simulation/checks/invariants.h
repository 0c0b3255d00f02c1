// Rule: whenever the engine is not at work, the record of each link is consistent. Reads the engine's
// records.
#pragma once

#include <string_view>

#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

/// Describes the first invariant that `record` breaks; "" if it breaks none. Applies to engines after `Init`.
std::string_view brokenInvariant(const ConnectionRecord& record);

class RecordInvariants : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  void changed(std::int16_t link, const RecordedState&, const ConnectionRecord& now) {
    const std::string_view broken = brokenInvariant(now);
    if (!broken.empty()) engine_.report(link, broken);
  }
};

}  // namespace quarnex::simulation
