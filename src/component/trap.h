// "Resume with the next statement": a failing step is remembered, the next one still runs.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

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

  bool pending() const { return failure_ != nullptr; }
  std::int32_t number() const { return failure_ ? failure_->number : 0; }
  std::string description() const { return failure_ ? failure_->description : std::string(); }
  void clear();

 private:
  friend void clearPendingFailures(Library& library);

  struct Remembered {
    std::int32_t number;
    std::string description;
  };

  void remember(const std::exception& failure);
  void keep(std::int32_t number, std::string description);

  Library& library_;
  Trap* next_ = nullptr;                 // in the library's list, while something is pending
  std::unique_ptr<Remembered> failure_;  // the pending one
};

/// Settles the failures of every trap that is open at this moment.
void clearPendingFailures(Library& library);

}  // namespace quarnex
