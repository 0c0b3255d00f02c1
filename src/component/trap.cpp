#include "component/trap.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "component/library.h"
#include "quarnex/failure.h"

namespace quarnex {

// Called from the handler of a failed step. Number 0 means that nothing is wrong, so it leaves nothing
// pending.
void Trap::remember(const std::exception& thrown) {
  if (const auto* failure = dynamic_cast<const Failure*>(&thrown)) {
    failure->number() == 0 ? clear() : keep(failure->number(), failure->description());
  } else if (dynamic_cast<const std::bad_alloc*>(&thrown) != nullptr) {
    keep(7, "Out of memory");
  } else if (dynamic_cast<const std::length_error*>(&thrown) != nullptr) {
    keep(14, "Out of string space");
  } else {
    throw;
  }
}

void Trap::keep(std::int32_t number, std::string description) {
  const bool listed = pending();
  failure_ = std::make_unique<Remembered>(Remembered{number, std::move(description)});
  if (!listed) next_ = std::exchange(library_.pendingTraps, this);
}

void Trap::clear() {
  if (!pending()) return;
  failure_.reset();
  Trap** link = &library_.pendingTraps;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

void clearPendingFailures(Library& library) {
  while (library.pendingTraps != nullptr) library.pendingTraps->clear();
}

}  // namespace quarnex
