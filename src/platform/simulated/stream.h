// Stream: one direction of a connection: bytes on their way, each with the moment at which it arrives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/virtual_time.h"

namespace quarnex::simulated {

/// Bytes keep their order whatever delay each was given: none arrives before the one in front of it. A stream
/// ends once, in the orderly way (code 0) or by a break. Storage is used again, so that steady traffic
/// allocates nothing.
class Stream {
 public:
  void append(std::string_view bytes, Milliseconds arrival);
  /// The end travels behind everything appended so far.
  void end(Milliseconds arrival, std::int16_t code);

  /// Bytes that have arrived and are not taken.
  std::size_t arrived(Milliseconds now) {
    if (size() == 0) return 0;
    return countArrived(now);
  }
  /// Bytes that are not taken, arrived or still on their way.
  std::size_t size() const { return bytes_.size() - taken_; }
  /// Moves at most `max` bytes that have arrived to the end of `into`.
  std::size_t take(std::string& into, std::size_t max, Milliseconds now);
  /// Drops what has arrived.
  void dropArrived(Milliseconds now);

  /// The code of the end if that has arrived, whether or not bytes before it wait.
  std::optional<std::int16_t> endArrived(Milliseconds now) const;
  bool hasEnd() const { return ending_.has_value(); }
  /// When the last thing appended arrives.
  Milliseconds lastArrival() const { return lastArrival_; }

  /// Nothing arrives from now on, until it is released; nothing is lost.
  void hold() { held_ = true; }
  void release() { held_ = false; }
  bool held() const { return held_; }
  /// What is on its way arrives now.
  void hurry(Milliseconds now);

 private:
  struct Mark {
    std::size_t end;  // bytes up to here ...
    Milliseconds arrival;
  };
  struct Ending {
    Milliseconds arrival;
    std::int16_t code;
  };

  std::size_t countArrived(Milliseconds now);
  void remove(std::size_t count);

  std::string bytes_;  // from `taken_` on
  std::size_t taken_ = 0;
  std::size_t arrived_ = 0;
  std::vector<Mark> marks_;  // from `nextMark_` on, ascending in both members
  std::size_t nextMark_ = 0;
  Milliseconds lastArrival_ = 0;
  std::optional<Ending> ending_;
  bool held_ = false;
};

}  // namespace quarnex::simulated
