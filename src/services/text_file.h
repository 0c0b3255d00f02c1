// Interface of the log file: created, appended to line by line, closed.
#pragma once

#include <string>
#include <string_view>

namespace quarnex {

class TextFile {
 public:
  virtual ~TextFile() = default;
  /// Creates the file, emptying an existing one. Other programs may read it while it grows. Throws `Failure`
  /// 76 (path not found), 70 (permission denied), 61 (disk full), 52 (bad file name) or 75 (anything else).
  virtual void create(const std::string& name) = 0;
  /// Appends `line`, which contains its line end. The line is in the file when the present turn of the host's
  /// loop ends, or after the close. Drops the whole line if it cannot be written, and tries later lines
  /// again. Does nothing without an open file. Never fails.
  virtual void write(std::string_view line) = 0;
  /// Writes the remaining lines and closes the file. Does nothing without an open file. Never fails.
  virtual void close() = 0;
};

}  // namespace quarnex
