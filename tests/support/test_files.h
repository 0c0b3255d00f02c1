// Gives a test a temporary folder, and a limit on file sizes that acts as a full disk.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace quarnex {

/// Creates an empty folder and removes it with all its files at the end.
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

inline std::string contentOf(const std::filesystem::path& file) {
  return (std::ostringstream() << std::ifstream(file, std::ios::binary).rdbuf()).str();
}

/// Limits every file of this process to `bytes` while the object exists; a longer write is cut short.
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
