#include "component/trap.h"

#include <new>
#include <stdexcept>

#include "component/library.h"
#include "quarnex/failure.h"

namespace quarnex {

Trap::Trap(Library& library) : library_(library), caller_(library.innermostTrap) {
  library.innermostTrap = this;
}

Trap::~Trap() {
  library_.innermostTrap = caller_;
}

// Called from the handler of a failed step. Number 0 means that nothing is wrong, so it leaves nothing
// pending.
void Trap::remember() {
  try {
    throw;
  } catch (const Failure& failure) {
    failure_ = failure.number() == 0
                   ? nullptr
                   : std::make_unique<Remembered>(Remembered{failure.number(), failure.description()});
  } catch (const std::bad_alloc&) {
    failure_ = std::make_unique<Remembered>(Remembered{7, "Out of memory"});
  } catch (const std::length_error&) {
    failure_ = std::make_unique<Remembered>(Remembered{14, "Out of string space"});
  }
}

void clearPendingFailures(Library& library) {
  for (Trap* trap = library.innermostTrap; trap != nullptr; trap = trap->caller_) trap->clear();
}

}  // namespace quarnex
