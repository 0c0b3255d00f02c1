// Rule: a host holds no more descriptors than its sockets use.
#pragma once

#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

class Descriptors : public Check {
 public:
  using Check::Check;

  void secondEnded() {
    if (engine_.sockets != nullptr && engine_.sockets->descriptors() > engine_.sockets->inUse())
      engine_.report(0, "a host holds more descriptors than its sockets use");
  }
};

}  // namespace quarnex::simulation
