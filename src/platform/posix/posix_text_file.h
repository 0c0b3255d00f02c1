// Writes the log to a text file once a turn, and drops whole lines while the disk is full.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/descriptor.h"
#include "services/text_file.h"

namespace quarnex {

class PosixTextFile final : public TextFile {
 public:
  PosixTextFile() = default;
  ~PosixTextFile() override;
  PosixTextFile(const PosixTextFile&) = delete;
  PosixTextFile& operator=(const PosixTextFile&) = delete;

  void create(const std::string& name) override;
  void write(std::string_view line) override;
  void close() override;

  /// Writes the collected lines, at the end of every turn. Never fails. If a line does not fit, drops it and
  /// writes the lines after it with one more attempt; lines that do not fit then are dropped, too. So a full
  /// disk costs two attempts a turn and not one a line.
  void flush();

 private:
  std::size_t writeWholeLines(std::size_t first);
  void removeLast(std::size_t bytes);

  Descriptor file_;
  std::string kept_;               // the collected lines
  std::vector<std::size_t> ends_;  // the end of each line; a line may hold any characters
};

}  // namespace quarnex
