#include "component/trap.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "component/library.h"

namespace quarnex {
namespace {
constexpr std::int32_t kOutOfMemory = 7;
constexpr const char* kOutOfMemoryWords = "Out of memory";
}  // namespace

Failure failureOf(const std::exception& thrown) {
  if (const auto* failure = dynamic_cast<const Failure*>(&thrown)) return *failure;
  if (dynamic_cast<const std::bad_alloc*>(&thrown) != nullptr) return {kOutOfMemory, kOutOfMemoryWords};
  if (dynamic_cast<const std::length_error*>(&thrown) != nullptr) return {14, "Out of string space"};
  throw;
}

// Called from the handler of a failed step. Number 0 means that nothing is wrong, so it leaves nothing
// pending.
void Trap::remember(const std::exception& thrown) {
  try {
    const Failure failure = failureOf(thrown);
    if (failure.number() == 0) return clear();
    keep(failure.number(), std::make_unique<const std::string>(failure.what()));
  } catch (const std::bad_alloc&) {
    keep(kOutOfMemory, nullptr);
  }
}

void Trap::keep(std::int32_t number, std::unique_ptr<const std::string> description) {
  if (!pending()) next_ = std::exchange(library_.pendingTraps, this);
  number_ = number;
  description_ = std::move(description);
}

std::string Trap::description() const {
  if (!pending()) return {};
  return description_ ? *description_ : kOutOfMemoryWords;
}

void Trap::clear() {
  if (!pending()) return;
  number_ = 0;
  description_.reset();
  Trap** link = &library_.pendingTraps;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

void clearPendingFailures(Library& library) {
  while (library.pendingTraps != nullptr) library.pendingTraps->clear();
}

}  // namespace quarnex
