// Interface of an open file with positioned writes and truncation; follows the file when it is renamed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

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
/// 61 (disk full) or 75 (other). Use the file on a quiet thread (quiet_thread.h): a failing write may raise
/// SIGPIPE or SIGXFSZ.
std::unique_ptr<Storage> createStorage(const std::filesystem::path& path);

}  // namespace quarnex
