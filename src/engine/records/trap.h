// "Resume with the next statement": a failing step is remembered, the next one still runs.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "quarnex/failure.h"

namespace quarnex {

struct Library;

/// The trap of one procedure. It remembers the last failure that one of its own steps threw; what a callee
/// trapped itself is settled there. The library knows the traps that remember one, so that whoever handles
/// "any pending failure" can settle those of all callers. A trap without a failure costs next to nothing:
/// every visit of a tick opens some.
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

/// The failure that `thrown` is: one of ours as it is, the standard library's for want of memory as 7 Out of
/// memory or 14 Out of string space, for which no memory is needed. Anything else goes on to the caller as it
/// came: to be called from its handler.
Failure failureOf(const Library& library, const std::exception& thrown);

/// Settles the failures of every trap that is open at this moment.
void clearPendingFailures(Library& library);

}  // namespace quarnex
