// Runs the steps of a procedure so that a failing step is remembered and the next one still runs.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "quarnex/failure.h"

namespace quarnex {

struct Library;

/// The trap of one procedure. It remembers the last failure that one of its own steps threw. A failure that a
/// callee has trapped does not reach its caller. The library lists the traps with a pending failure, so
/// `clearPendingFailures` also clears those of all callers. A trap without a failure is cheap, because each
/// visit of a tick opens several.
///
///     Trap trap{library};
///     trap([&] { socket.close(); });
///     trap([&] { socket.listen(); });
///     if (trap.pending()) { ... trap.number() ... }
class Trap {
 public:
  explicit Trap(Library& library) : library_(library) {}
  ~Trap() {
    if (pending()) clear();
  }
  Trap(const Trap&) = delete;
  Trap& operator=(const Trap&) = delete;

  template <class Step>
  void operator()(Step&& step) {
    try {
      step();
    } catch (const std::exception& failure) {
      remember(failure);
    }
  }

  bool pending() const { return failure_.has_value(); }
  std::int32_t number() const { return failure_ ? failure_->number() : 0; }
  std::string description() const { return failure_ ? failure_->description() : std::string(); }
  void clear();

 private:
  friend void clearPendingFailures(Library& library);

  void remember(const std::exception& failure);

  Library& library_;
  Trap* next_ = nullptr;            // in the library's list, while something is pending
  std::optional<Failure> failure_;  // the pending one
};

/// Converts an exception to a failure; call it from the handler of that exception. Copies a `Failure`.
/// Converts std::bad_alloc to 7 "Out of memory" and std::length_error to 14 "Out of string space", without
/// allocating. Rethrows any other exception.
Failure failureOf(const Library& library, const std::exception& thrown);

/// Clears the pending failures of all open traps.
void clearPendingFailures(Library& library);

}  // namespace quarnex
