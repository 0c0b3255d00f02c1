// A recording on disk, written by a thread of its own so that a slow or full disk never holds up the links.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "recording/sink.h"

namespace quarnex::recording {

class FileSink final : public Sink {
 public:
  /// Creates `path`, emptying an existing file. Throws `Failure` 76 (path not found), 70 (permission denied)
  /// or 75 (other). At most `pendingBytesMax` wait in memory, while as many are being written; what comes
  /// beyond that, and what the disk does not take, is left out, and a line in its place says how much.
  explicit FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax = std::size_t{8} << 20);
  /// Writes what still waits.
  ~FileSink() override;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;

  void write(std::string_view lines) override;

 private:
  void writePending();
  void writeInPieces(std::string_view lines);
  void writeOut(std::string_view lines);
  bool append(std::string_view lines);
  void cutBack();
  void goBack();
  // Asked under the lock.
  bool isIdle() const { return pending_.empty() && notKept_ == 0; }
  bool isUrgent() const { return pending_.size() > pendingBytesMax_ / 2; }

  std::filesystem::path path_;
  std::size_t pendingBytesMax_;
  std::ofstream file_;
  std::uintmax_t wholeBytes_ = 0;  // in the file, up to the last line or mark that stays
  std::uint64_t notWritten_ = 0;   // bytes that are missing since

  std::mutex mutex_;  // guards what follows
  std::condition_variable wake_;
  std::string pending_;
  std::uint64_t notKept_ = 0;  // bytes that came after these and found no room
  bool ending_ = false;

  std::thread writer_;  // last: it uses all of the above
};

}  // namespace quarnex::recording
