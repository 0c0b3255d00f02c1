// Composes an engine from a set of services, for processes, tests, simulations and replay.
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// A library whose sockets' form runs the engine's own procedures. Any number of engines may exist side by
/// side; they share nothing.
class Engine : public Library {
 public:
  /// `services` outlive the engine.
  explicit Engine(Services services);
};

}  // namespace quarnex
