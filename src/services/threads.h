// Provides a thread, a lock with a condition, and the clock of its waits. The standard library has them only
// with a compiler whose thread model is POSIX; with the other one of Windows, nothing of a thread stays
// behind when a component is unloaded.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace quarnex {

/// A moment of a clock that is never set.
using SteadyTime = std::chrono::steady_clock::time_point;
SteadyTime steadyNow();

/// Guards data of several threads. A thread that holds the lock can wait until another one has changed the
/// data. Use it with std::lock_guard or std::unique_lock.
class Monitor {
 public:
  Monitor();
  ~Monitor();
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

  void lock();
  void unlock();
  /// Wakes all threads that wait. The caller need not hold the lock.
  void notifyAll();
  /// Releases the lock until another thread has notified and `holds` returns true. Call it with the lock.
  template <class Holds>
  void wait(const Holds& holds) {
    while (!holds()) pause();
  }
  /// Waits at most until `deadline`; returns the last value of `holds`.
  template <class Holds>
  bool waitUntil(SteadyTime deadline, const Holds& holds) {
    while (!holds()) {
      if (!pauseUntil(deadline)) return holds();
    }
    return true;
  }

 private:
  void pause();
  // False once the deadline has passed.
  bool pauseUntil(SteadyTime deadline);

  struct State;
  std::unique_ptr<State> state_;
};

/// A thread that blocks all signals. Signals to the process go to the host's own threads. A signal that a
/// write of this thread raises (SIGXFSZ) has no effect; the write fails instead.
class QuietThread {
 public:
  /// Throws `std::system_error` if the system has no thread left.
  explicit QuietThread(std::function<void()> body);
  /// Waits for the end of the thread, unless it was detached.
  ~QuietThread();
  QuietThread(QuietThread&&) noexcept;
  QuietThread& operator=(QuietThread&&) = delete;

  /// Leaves the thread to itself.
  void detach();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace quarnex
