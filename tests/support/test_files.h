// TemporaryFolder: a folder of one test's own, which goes with all that is in it. FileSizeLimit: a disk that
// is full for this process.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>
#include <string>

namespace quarnex {

class TemporaryFolder {
 public:
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder() = default;
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  static std::filesystem::path make() {
    std::string pattern = testing::TempDir() + "quarnexXXXXXX";
    return ::mkdtemp(pattern.data());
  }

  std::filesystem::path path_ = make();
};

/// While it lives no file of this process grows beyond `bytes`; a write that would is cut short there.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

}  // namespace quarnex
