// PosixTextFile: a text file that is written once a turn and survives a full disk.
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

  /// Writes what is kept back; the end of every turn calls it. Never fails. The first line that does not fit
  /// is left out and the lines after it are tried once more, together; what does not fit then is dropped, so
  /// that a full disk costs two attempts a turn and not one a line.
  void flush();

 private:
  std::size_t writeWholeLines(std::size_t first);
  void takeBack(std::size_t bytes);

  Descriptor file_;
  std::string kept_;               // lines to be written
  std::vector<std::size_t> ends_;  // where each of them ends: a line may hold any characters
};

}  // namespace quarnex
