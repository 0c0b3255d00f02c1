// Reactor: waits for the descriptors of one loop and passes on what they are ready for.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/posix/descriptor.h"

namespace quarnex {

/// Whoever watches a descriptor. May watch and forget any descriptor from inside `onReady`.
class Watcher {
 public:
  /// The descriptor is ready in the main set; `events` as `epoll_wait` reports them.
  virtual void onReady(std::uint32_t events) = 0;
  /// It is readable in the data set. Only to be noted: nothing may be watched or forgotten from inside.
  virtual void onReadable(std::uint32_t) {}

 protected:
  ~Watcher() = default;
};

/// Two sets of descriptors. The main set is what `turn` waits for and what makes `fd` readable. The data set
/// is asked once a tick and wakes nobody, so that data, which is only looked at on ticks, costs no wake-up.
///
/// A descriptor's number is used again by the system as soon as it is closed. What was reported for it before
/// that and not yet delivered must not reach its next user, so each use has a key of its own.
class Reactor {
 public:
  using Key = std::uint64_t;

  /// Throws `Failure` if the system has no descriptors left.
  Reactor();

  /// Readable when `turn` has something to do.
  int fd() const { return main_.get(); }

  /// Waits until something is ready, at most `maxWait` milliseconds (-1 = no limit), and passes it on. A
  /// signal ends the wait. What a throwing watcher left of a turn comes with the next one.
  void turn(int maxWait);

  /// Watches `descriptor` in the main set for `events`, in the name of `watcher`, until it is forgotten.
  /// Throws `Failure` if the system refuses; then it is not watched.
  Key watch(int descriptor, std::uint32_t events, Watcher& watcher);
  /// The same in both sets: data of a watched connection is looked at on ticks.
  Key watchConnection(int descriptor, std::uint32_t events, Watcher& watcher);
  /// Changes what a watched descriptor is watched for in the main set, and reports again what holds of it,
  /// also what has been reported as an edge before.
  void change(Key key, std::uint32_t events);
  /// Watches for nothing until the next tick, then for `events` again.
  void pauseUntilTick(Key key, std::uint32_t events);
  /// Ends the use. To be called before the descriptor is closed.
  void forget(Key key);
  /// True while the use lasts.
  bool holds(Key key) const;

  /// Asks the data set and calls `onReadable` of each connection that has something. One system call.
  void beginTick();

 private:
  struct Slot {
    Watcher* watcher = nullptr;
    std::uint32_t use = 0;  // counts the uses of this number
    bool connection = false;
  };
  struct Paused {
    Key key;
    std::uint32_t events;
  };

  static std::size_t slotOf(Key key) { return static_cast<std::uint32_t>(key); }
  void add(const Descriptor& set, std::uint32_t events, Key key);

  Descriptor main_;
  Descriptor data_;
  std::vector<Slot> slots_;  // by descriptor

  std::array<epoll_event, 128> ready_{};  // the present turn: `next_` to `end_` are still to be passed on
  std::size_t next_ = 0;
  std::size_t end_ = 0;

  std::size_t connections_ = 0;
  std::vector<epoll_event> readable_;  // room for every connection, so that one question is enough
  std::vector<Paused> paused_;
};

}  // namespace quarnex
