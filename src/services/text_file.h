// Interface of the log file: created, appended to line by line, closed.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "services/marked_storage.h"

namespace quarnex {

/// How log files are kept.
struct TextFileSettings {
  std::uintmax_t bytesMax = 0;  ///< size at which the next file begins; 0 = none does
  int filesMax = 0;             ///< files kept; each further one removes the oldest; 0 = all are kept
  bool groupMayRead = false;    ///< otherwise the process's user alone can
};

class TextFile {
 public:
  virtual ~TextFile() = default;
  /// Creates the file, emptying an existing one. Other programs may read it while it grows. Throws `Failure`
  /// 76 (path not found), 70 (permission denied), 61 (disk full), 52 (bad file name) or 75 (anything else).
  virtual void create(const std::string& name) = 0;
  /// Takes `line`, which contains its line end, and returns at once. The line is in the file within a second,
  /// and after the close. Lines that cannot be written are dropped whole, counted and marked in their place,
  /// and later lines are tried again. Does nothing without an open file. Never fails.
  virtual void write(std::string_view line) = 0;
  /// Writes the remaining lines and closes the file. Waits at most `kHangingDiskPatience` for the disk. Does
  /// nothing without an open file. Never fails.
  virtual void close() = 0;

  /// Applies to the files created from now on. For files whose name ends in 14 digits of date and time
  /// ("ddmmyyyyhhmmss") and ".txt"; a next file has the same name with its own date and time.
  virtual void configure(const TextFileSettings& /*settings*/) {}
  /// Waits until all lines are written or dropped, at most `maxWait`. False if the disk hangs; the lines that
  /// wait then count as losses.
  virtual bool flush(std::chrono::milliseconds /*maxWait*/) { return true; }
  /// Lines of all files so far that are missing.
  virtual WriteLosses losses() const { return {}; }
};

}  // namespace quarnex
