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

/// Limits a resource of this process while the object exists.
template <auto kResource>
class ResourceLimit {
 public:
  explicit ResourceLimit(rlim_t most) {
    ::getrlimit(kResource, &before_);
    const rlimit limit{most, before_.rlim_max};
    ::setrlimit(kResource, &limit);
  }
  ~ResourceLimit() { ::setrlimit(kResource, &before_); }
  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

 private:
  rlimit before_{};
};

/// Limits every file to that number of bytes; a longer write is cut short.
using FileSizeLimit = ResourceLimit<RLIMIT_FSIZE>;

}  // namespace quarnex
