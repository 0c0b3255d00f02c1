// Disk: what of a host's writes is kept, and what of its files stays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>

namespace quarnex::simulated {

/// Sound as long as nobody changes it.
struct Disk {
  /// Bytes that it still takes.
  std::size_t room = std::numeric_limits<std::size_t>::max();
  /// The so-manyth write from now on is refused (1 = the next); 0 = none.
  std::uint64_t failingWrite = 0;
  /// Runs before each line of a log is written: a slow disk stops the host meanwhile. Recordings wait until
  /// it is gone.
  std::function<void()> beforeWrite;
  /// How often all files were taken away.
  std::uint64_t removals = 0;

  /// Whether so many bytes find room in one write, which counts.
  bool takes(std::size_t bytes) {
    const bool refused = failingWrite > 0 && --failingWrite == 0;
    if (refused || bytes > room) return false;
    room -= bytes;
    return true;
  }
  /// Takes everything again, at once.
  void repair() {
    room = std::numeric_limits<std::size_t>::max();
    failingWrite = 0;
    beforeWrite = nullptr;
  }
};

}  // namespace quarnex::simulated
