#include "component/trap.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "component/library.h"
#include "quarnex/failure.h"

namespace quarnex {

// Called from the handler of a failed step. Number 0 means that nothing is wrong, so it leaves nothing
// pending.
void Trap::remember() {
  try {
    throw;
  } catch (const Failure& failure) {
    if (failure.number() == 0) return clear();
    keep(failure.number(), failure.description());
  } catch (const std::bad_alloc&) {
    keep(7, "Out of memory");
  } catch (const std::length_error&) {
    keep(14, "Out of string space");
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
