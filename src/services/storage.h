// Interface of an open file with positioned writes and truncation, which follows the file when it is renamed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

namespace quarnex {

class Storage {
 public:
  virtual ~Storage() = default;
  /// Writes `bytes` at `position`. Returns 0, or the number of the failure if not all bytes were written (61
  /// disk full, 70 permission denied, 75 other); some may have been.
  virtual std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) = 0;
  /// Truncates the file to `bytes` bytes. Does nothing if it is shorter.
  virtual void cutTo(std::uintmax_t bytes) = 0;
  /// Bytes in the file: fewer than were written if another program has truncated it.
  virtual std::uintmax_t size() = 0;
  /// Size of the file on the disk, which differs if it is compressed.
  virtual std::uintmax_t fileBytes() { return size(); }
};

/// How a file is created.
struct StorageAccess {
  bool groupMayRead = false;  ///< otherwise the process's user alone can read the file
  bool mustBeNew = false;     ///< otherwise an existing file is emptied
};

/// Creates `path`, which the process's user alone can write. Throws `Failure` 58 (exists, but must be new),
/// 76 (path not found), 70 (permission denied), 61 (disk full) or 75 (other): among others if `path` is a
/// symbolic link, or not a regular file. Use the file on a `QuietThread`: a failing write may
/// raise SIGXFSZ.
std::unique_ptr<Storage> createStorage(const std::filesystem::path& path, StorageAccess access = {});

}  // namespace quarnex
