#include "engine/records/trap.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "engine/records/library.h"
#include "services/assertion.h"

namespace quarnex {

Failure failureOf(const Library& library, const std::exception& thrown) {
  if (const auto* failure = dynamic_cast<const Failure*>(&thrown)) return *failure;
  if (dynamic_cast<const std::bad_alloc*>(&thrown) != nullptr) return library.outOfMemory;
  if (dynamic_cast<const std::length_error*>(&thrown) != nullptr) return library.outOfStringSpace;
  throw;
}

// Called from the handler of a failed step. A failure with number 0 is no failure and leaves nothing pending.
void Trap::remember(const std::exception& thrown) {
  const Failure failure = failureOf(library_, thrown);
  if (failure.number() == 0) return clear();
  if (!pending()) next_ = std::exchange(library_.pendingTraps, this);
  failure_ = failure;
}

void Trap::clear() {
  if (!pending()) return;
  failure_.reset();
  Trap** link = &library_.pendingTraps;
  while (*link != this) {
    link = &(*link)->next_;
    QUARNEX_ASSERT(*link != nullptr);
  }
  *link = next_;
}

void clearPendingFailures(Library& library) {
  while (library.pendingTraps != nullptr) library.pendingTraps->clear();
}

}  // namespace quarnex
