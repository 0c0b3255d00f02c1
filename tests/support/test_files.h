// Gives a test a temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
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
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    for (std::random_device random;;) {
      auto path = parent / ("quarnex" + std::to_string(random()));
      if (std::filesystem::create_directory(path)) return path;
    }
  }

  std::filesystem::path path_ = make();
};

inline std::string contentOf(const std::filesystem::path& file) {
  return (std::ostringstream() << std::ifstream(file, std::ios::binary).rdbuf()).str();
}

}  // namespace quarnex
