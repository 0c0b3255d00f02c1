// Writes a recording to disk in its own thread, so that a slow or full disk never delays the links.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>

#include "recording/format/line_writer.h"
#include "recording/recorder/marked_storage.h"
#include "services/storage.h"

namespace quarnex::recording {

class FileSink final : public Sink {
 public:
  /// Creates `path` or throws, as `createStorage` does. At most `pendingBytesMax` bytes wait in memory while
  /// as many are being written. Lines beyond that, and lines that the disk refuses, are replaced by a line
  /// with their number of bytes.
  explicit FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax = std::size_t{8} << 20);
  /// Writes the waiting lines.
  ~FileSink() override;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;

  void write(std::string_view lines) override;
  /// Bytes missing in the file so far, without those that still wait.
  std::uint64_t missing() const { return missing_; }

 private:
  void writePending();
  // Call it under the lock.
  bool isUrgent() const { return pending_.lines.size() > pendingBytesMax_ / 2; }

  std::size_t pendingBytesMax_;
  std::unique_ptr<Storage> file_;
  MarkedStorage marked_{*file_};

  std::mutex mutex_;  // guards the next three members
  std::condition_variable wake_;
  Backlog pending_;
  bool ending_ = false;

  std::atomic<std::uint64_t> missing_ = 0;
  std::thread writer_;  // last, because it uses all other members
};

}  // namespace quarnex::recording
