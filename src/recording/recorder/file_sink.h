// A recording on disk, written by a thread of its own so that a slow or full disk never holds up the links.
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

#include "recording/format/sink.h"
#include "recording/recorder/backlog.h"
#include "recording/recorder/marked_storage.h"
#include "services/storage.h"

namespace quarnex::recording {

class FileSink final : public Sink {
 public:
  /// Creates `path` or throws, as `createStorage` does. At most `pendingBytesMax` wait in memory, while as
  /// many are being written; what comes beyond that, and what the disk does not take, is left out, and a line
  /// in its place says how much.
  explicit FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax = std::size_t{8} << 20);
  /// Writes what still waits.
  ~FileSink() override;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;

  void write(std::string_view lines) override;
  /// Bytes that were left out so far; what still waits is not counted.
  std::uint64_t missing() const { return missing_; }

 private:
  void writePending();
  // Asked under the lock.
  bool isUrgent() const { return pending_.lines.size() > pendingBytesMax_ / 2; }

  std::size_t pendingBytesMax_;
  std::unique_ptr<Storage> file_;
  MarkedStorage marked_{*file_};

  std::mutex mutex_;  // guards what follows
  std::condition_variable wake_;
  Backlog pending_;
  bool ending_ = false;

  std::atomic<std::uint64_t> missing_ = 0;
  std::thread writer_;  // last: it uses all of the above
};

}  // namespace quarnex::recording
