// "Resume with the next statement": a failing step is remembered, the next one still runs.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
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

  bool pending() const { return number_ != 0; }
  std::int32_t number() const { return number_; }
  std::string description() const;
  void clear();

 private:
  friend void clearPendingFailures(Library& library);

  void remember(const std::exception& failure);
  void keep(std::int32_t number, std::unique_ptr<const std::string> description);

  Library& library_;
  Trap* next_ = nullptr;                            // in the library's list, while something is pending
  std::int32_t number_ = 0;                         // of the pending failure; 0 = none
  std::unique_ptr<const std::string> description_;  // nullptr where there is no memory, not even for this
};

/// The failure that `thrown` is: one of ours as it is, the standard library's for want of memory as 7 Out of
/// memory or 14 Out of string space. Anything else goes on to the caller as it came: to be called from its
/// handler.
Failure failureOf(const std::exception& thrown);

/// Settles the failures of every trap that is open at this moment.
void clearPendingFailures(Library& library);

}  // namespace quarnex
