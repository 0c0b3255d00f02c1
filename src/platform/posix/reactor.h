// Waits with epoll for the descriptors of one loop and calls their watchers.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/posix/descriptor.h"

namespace quarnex {

/// Receiver of the events of one descriptor. May watch and forget any descriptor inside `onReady`.
class Watcher {
 public:
  /// The descriptor is ready in the main set; `events` as `epoll_wait` reports them.
  virtual void onReady(std::uint32_t events) = 0;
  /// The descriptor is readable in the data set. Must not watch or forget a descriptor.
  virtual void onReadable(std::uint32_t) {}

 protected:
  ~Watcher() = default;
};

/// Keeps two epoll sets. `turn` waits for the main set, and `fd` is readable while the main set has events.
/// The data set is polled once a tick: the engine examines data only on ticks, so arriving data must not wake
/// the process.
///
/// The system reuses a descriptor's number as soon as it is closed. An event of the old use that is not yet
/// delivered must not reach the new user, so each use has a key of its own.
class Reactor {
 public:
  using Key = std::uint64_t;

  /// Throws `Failure` if the system has no descriptors left.
  Reactor();

  /// Readable when `turn` has work.
  int fd() const { return main_.get(); }

  /// True if a watcher has thrown, so that the next turn has events to deliver at once.
  bool hasUndelivered() const { return next_ < end_; }

  /// Waits until a descriptor is ready, at most `maxWait` milliseconds (-1 = no limit), and calls the
  /// watchers. A signal ends the wait. If a watcher throws, the next turn delivers the remaining events.
  /// Throws `Failure` if the set has become unusable: 10009 or 10022, for example after the host has closed
  /// its descriptor.
  void turn(int maxWait);

  /// Watches `descriptor` for `events` in the main set and reports them to `watcher`, until `forget`. Throws
  /// `Failure` if the system refuses; the descriptor is then not watched.
  Key watch(int descriptor, std::uint32_t events, Watcher& watcher);
  /// Watches a connection in both sets: its data is examined on ticks.
  Key watchConnection(int descriptor, std::uint32_t events, Watcher& watcher);
  /// Changes the events watched in the main set, and reports all of them that hold again, including those
  /// already reported (edge-triggered).
  void change(Key key, std::uint32_t events);
  /// Watches for no event until the next tick, then for `events` again.
  void pauseUntilTick(Key key, std::uint32_t events);
  /// Ends the use. Call it before closing the descriptor.
  void forget(Key key);
  /// True while the use lasts.
  bool holds(Key key) const;

  /// Polls the data set with one system call and calls `onReadable` for each readable connection. Resumes
  /// paused descriptors.
  void beginTick();

 private:
  struct WatchSlot {
    Watcher* watcher = nullptr;
    std::uint32_t use = 0;  // number of earlier uses of this descriptor
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
  std::vector<WatchSlot> slots_;  // indexed by descriptor

  std::array<epoll_event, 128> ready_{};  // events of this turn; `next_` to `end_` are not yet delivered
  std::size_t next_ = 0;
  std::size_t end_ = 0;

  std::size_t connections_ = 0;
  std::vector<epoll_event> readable_;  // one place per connection, so that one call gets all of them
  std::vector<Paused> paused_;
};

}  // namespace quarnex
