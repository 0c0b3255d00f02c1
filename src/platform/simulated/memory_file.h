// MemoryFile: text files in memory, on a simulated disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>

#include "platform/simulated/disk.h"
#include "services/text_file.h"

namespace quarnex::simulated {

class MemoryFile final : public TextFile {
 public:
  /// `disk` outlives it. On one without any room no file can be created, and a line that does not fit is
  /// dropped whole.
  explicit MemoryFile(Disk& disk) : disk_(disk) {}
  void create(const std::string& name) override;
  void write(std::string_view line) override;
  void close() override { open_ = false; }

  /// Gives the file created last, open or not, another name; it takes the place of a file that has it.
  void rename(const std::string& to);
  /// Takes all files away; one that is open gets nothing more.
  void removeAll();

  /// Of a file that grows beyond twice so many bytes the older half goes.
  std::size_t keptMax = std::numeric_limits<std::size_t>::max() / 2;

  /// Every file, by name.
  std::map<std::string, std::string> files;
  /// Name and content of the file created last.
  const std::string& name() const { return name_; }
  const std::string& text() { return files[name_]; }
  std::uint64_t linesDropped() const { return linesDropped_; }

 private:
  Disk& disk_;
  std::string name_;
  std::string* text_ =
      nullptr;  // among the files, where it stays whatever its name; nullptr if it was removed
  bool open_ = false;
  std::uint64_t linesDropped_ = 0;
};

}  // namespace quarnex::simulated
