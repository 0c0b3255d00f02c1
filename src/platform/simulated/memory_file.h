// MemoryFile: text files in memory, on a disk that can be full or refuse single lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>

#include "diagnostics/text_file.h"

namespace quarnex::simulated {

class MemoryFile final : public TextFile {
 public:
  void create(const std::string& name) override;
  void write(std::string_view line) override;
  void close() override { open_ = false; }

  /// Bytes that the disk still takes; a line that does not fit is dropped whole, and on 0 no file can be
  /// created.
  std::size_t room = std::numeric_limits<std::size_t>::max();
  /// The so-manyth line from now on is dropped (1 = the next); 0 = none.
  std::uint64_t failingWrite = 0;
  /// Runs before each line is written: a slow disk stops the host meanwhile.
  std::function<void()> beforeWrite;
  /// Every file ever created, by name. One that is taken out while it is open gets nothing more.
  std::map<std::string, std::string> files;
  /// Name and content of the file created last.
  const std::string& name() const { return name_; }
  const std::string& text() { return files[name_]; }
  std::uint64_t linesDropped() const { return linesDropped_; }

 private:
  std::string name_;
  bool open_ = false;
  std::uint64_t linesDropped_ = 0;
};

}  // namespace quarnex::simulated
