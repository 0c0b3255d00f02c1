// The sequential text file as the engine sees it: created, appended to line by line, closed.
#pragma once

#include <string>
#include <string_view>

namespace quarnex {

class TextFile {
 public:
  virtual ~TextFile() = default;
  /// Creates the file, emptying an existing one, for other programs to read while it grows. Throws `Failure`
  /// 76 (path not found), 70 (permission denied), 61 (disk full), 52 (bad file name) or 75 (anything else).
  virtual void create(const std::string& name) = 0;
  /// Appends `line`, which carries its own line end. The line reaches the file at the latest when the present
  /// turn of the host's loop ends, or at the close. One that cannot be written is dropped whole; later ones
  /// are tried again.
  virtual void write(std::string_view line) = 0;
  /// Writes what is still kept back and closes. Never fails.
  virtual void close() = 0;
};

}  // namespace quarnex
