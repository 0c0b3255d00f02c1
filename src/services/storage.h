// A file that is written at positions and cut, and stays the same one wherever it is moved to.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

namespace quarnex {

class Storage {
 public:
  virtual ~Storage() = default;
  /// False if it did not take them all; it may have taken a part. One that cannot go back, such as a pipe,
  /// puts them behind what is there.
  virtual bool writeAt(std::uintmax_t position, std::string_view bytes) = 0;
  /// Leaves the first `bytes` of what is there, if it can; one that is shorter stays as it is.
  virtual void cutTo(std::uintmax_t bytes) = 0;
};

/// Creates `path`, emptying an existing file. Throws `Failure` 76 (path not found), 70 (permission denied),
/// 61 (disk full) or 75 (other). A write that goes wrong may raise a signal (a pipe without a reader, a file
/// at its limit), so quiet threads write.
std::unique_ptr<Storage> createStorage(const std::filesystem::path& path);

}  // namespace quarnex
