// Writes lines to a file on a thread of its own, so that a slow, full or hanging disk never delays the
// caller.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "services/marked_storage.h"
#include "services/storage.h"
#include "services/threads.h"

namespace quarnex {

/// Longest wait for a disk that does not answer, where a file is closed or the process ends.
constexpr std::chrono::milliseconds kHangingDiskPatience{2000};

/// How a background writer treats its file.
struct WriterPlan {
  LossMark mark = nullptr;  ///< the line in the place of missing ones
  /// Between two writes: collects the lines of a busy host, yet a crash loses little.
  std::chrono::milliseconds pause{20};
  std::size_t waitingBytesMax = std::size_t{8} << 20;  ///< in memory, while as many are being written
  std::uintmax_t fileBytesMax = std::numeric_limits<std::uintmax_t>::max();
  /// Makes the file for the lines behind `fileBytesMax`, on the writer's thread; nullptr = not yet, the
  /// present one grows on. Empty: the file ends there with `lastLine`, and later lines are neither written
  /// nor missing.
  std::function<std::unique_ptr<Storage>()> nextFile;
  std::string lastLine;
};

/// Lines beyond `waitingBytesMax`, and lines that the disk refuses, are dropped, counted and marked in their
/// place. The others are in the file soon after the pause.
class BackgroundWriter {
 public:
  BackgroundWriter(std::unique_ptr<Storage> file, WriterPlan plan);
  /// Ends, and waits until everything is written and the file is closed, at most `kHangingDiskPatience` from
  /// the `end` on, and not at all if a `flush` has given up: then it leaves the file to the thread.
  ~BackgroundWriter();
  BackgroundWriter(const BackgroundWriter&) = delete;
  BackgroundWriter& operator=(const BackgroundWriter&) = delete;

  /// Takes whole lines and returns at once. Never fails.
  void write(std::string_view lines);
  /// Waits until everything is written or dropped, at most `maxWait`, and after `end` at most until
  /// `kHangingDiskPatience` has passed since. False if the disk hangs.
  bool flush(std::chrono::milliseconds maxWait);
  /// `flush(kHangingDiskPatience)`, but does not wait again after a flush that has given up.
  bool flushPatiently() { return flush(hanging_ ? std::chrono::milliseconds(0) : kHangingDiskPatience); }
  /// Begins to end, without waiting. No line may follow.
  void end();
  /// The losses so far, without lines that wait; after a flush that returned false, with these.
  WriteLosses losses() const;
  /// True once the file has ended at `fileBytesMax`.
  bool full() const;

 private:
  struct Shared;

  std::shared_ptr<Shared> shared_;  // with the thread
  QuietThread thread_;
  bool hanging_ = false;  // the last flush gave up
};

/// Prints to standard error what is missing in a file, at the end of the process, where no host can ask any
/// more; nothing if the host has been told of so many bytes.
void printLosses(const char* file, const WriteLosses& losses, std::uint64_t toldBytes);

}  // namespace quarnex
