// Describes what the library holds and has lost in the whole process, and how its log files are kept.
#pragma once

#include <cstdint>

namespace quarnex {

/// Lines that are missing in a file although they were given to the library.
struct FileLosses {
  std::uint64_t bytes = 0;  ///< 0: nothing is missing
  std::uint64_t lines = 0;
  std::int16_t lastError = 0;  ///< 61 (disk full), 70 (permission denied), 75 (other); 0 = too slow a disk
};

/// Figures of the whole process.
struct ProcessSnapshot {
  FileLosses log;               ///< of all log files since the process began
  std::uint64_t bytesHeld = 0;  ///< by all links, see `LinkSnapshot::bytesHeld`
};

/// How the library keeps its log files.
struct LogSettings {
  std::uint64_t bytesMax =
      0;             ///< size at which the next file begins, with its own date and time; 0 = none does
  int filesMax = 0;  ///< files of one `AttivaLog` kept; each further one removes the oldest; 0 = all
  bool groupMayRead = false;  ///< otherwise the process's user alone can read the files
};

}  // namespace quarnex
