// TemporaryFolder: a folder of one test's own, which goes with all that is in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

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

}  // namespace quarnex
