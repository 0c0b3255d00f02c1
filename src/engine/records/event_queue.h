// Queues the events of all links for the host, within a limit.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "quarnex/link_event.h"

namespace quarnex {

/// Events in the order in which they happened. Each has a serial number, by which a link finds an event that
/// counts further occurrences until the host takes it.
class EventQueue {
 public:
  /// Appends an event and returns its serial number, from 1. In a full queue the oldest event becomes part of
  /// the next `Lost`.
  std::uint64_t add(LinkEvent&& event);
  /// The event with this serial number, or nullptr if it has been taken.
  LinkEvent* find(std::uint64_t serial);
  /// Removes and returns the oldest event; a `Lost` comes first.
  std::optional<LinkEvent> take();
  std::size_t size() const { return events_.size() + (lost_ ? 1 : 0); }
  /// A `Lost` waits.
  bool hasLost() const { return lost_.has_value(); }
  /// From now on at most so many events wait, 1 to `kEventsMax`; for tests of hosts.
  void setLimit(std::size_t limit) { limit_ = limit; }

 private:
  void lose(const LinkEvent& event);

  std::size_t limit_ = kEventsMax;
  std::deque<LinkEvent> events_;
  std::uint64_t taken_ = 0;  // serial number before the oldest
  std::optional<LinkEvent> lost_;
};

}  // namespace quarnex
