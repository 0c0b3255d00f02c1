// Declares the system's part of an output: writing to a descriptor, and waking the tool's loop.
#pragma once

#include <cstddef>
#include <string_view>

namespace quarnex::tool {

/// Writes at least one byte and blocks until then. Returns the number of bytes, or a negative `errno`.
std::ptrdiff_t writeSome(int descriptor, std::string_view bytes);

/// Ends a wait in `turnHost`.
class LoopWake {
 public:
  /// Of the calling thread's loop.
  LoopWake();
  ~LoopWake();
  LoopWake(const LoopWake&) = delete;
  LoopWake& operator=(const LoopWake&) = delete;

  /// From any thread.
  void signal() const;
  void clear() const;
  /// On POSIX a descriptor, which is readable from `signal` to `clear`, or a negative number if no descriptor
  /// was left; on Windows the number of the thread.
  int number() const { return number_; }

 private:
  int number_;
};

}  // namespace quarnex::tool
