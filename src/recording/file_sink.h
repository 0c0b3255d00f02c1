// A recording on disk, written by a thread of its own so that a slow or full disk never holds up the links.
#pragma once

#include <condition_variable>
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
  /// or 75 (other). At most `pendingBytesMax` wait in memory; what comes beyond that, and what the disk does
  /// not take, is left out, and a line in its place says how much.
  explicit FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax = 16 * 1024 * 1024);
  /// Writes what still waits.
  ~FileSink() override;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;

  void write(std::string_view lines) override;

 private:
  void writePending();
  void writeOut(const std::string& lines);
  void takeBack();

  std::filesystem::path path_;
  std::size_t pendingBytesMax_;
  std::ofstream file_;
  std::uintmax_t wholeBytes_ = 0;  // in the file, up to the end of a line
  std::uint64_t notWritten_ = 0;   // bytes that the disk did not take since

  std::mutex mutex_;  // guards what follows
  std::condition_variable wake_;
  std::string pending_;
  std::uint64_t notKept_ = 0;  // bytes that found no room since the last that did
  bool ending_ = false;

  std::thread writer_;  // last: it uses all of the above
};

}  // namespace quarnex::recording
