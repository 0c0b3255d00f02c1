// Interface of an open file with positioned writes and truncation, which follows the file when it is renamed,
// and of the threads that may use it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>

namespace quarnex {

class Storage {
 public:
  virtual ~Storage() = default;
  /// Writes `bytes` at `position`; a pipe appends them instead. Returns false if not all bytes were written;
  /// some may have been.
  virtual bool writeAt(std::uintmax_t position, std::string_view bytes) = 0;
  /// Truncates the file to `bytes` bytes. Does nothing if it is shorter or cannot be truncated.
  virtual void cutTo(std::uintmax_t bytes) = 0;
};

/// Creates `path`, emptying an existing file. Throws `Failure` 76 (path not found), 70 (permission denied),
/// 61 (disk full) or 75 (other). Use the file on a thread of `startQuietThread`: a failing write may raise
/// SIGPIPE or SIGXFSZ.
std::unique_ptr<Storage> createStorage(const std::filesystem::path& path);

/// Starts a thread that blocks all signals. Signals to the process go to the host's own threads. A signal
/// that a write of this thread raises (SIGPIPE, SIGXFSZ) has no effect; the write fails instead.
std::thread startQuietThread(std::function<void()> body);

}  // namespace quarnex
