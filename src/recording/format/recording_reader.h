// Reads a recording line by line and reports the first damaged line with its number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "recording/format/line.h"
#include "recording/format/line_parser.h"

namespace quarnex::recording {

/// A line cannot be read. The text has its number and the reason: "line 7: is not JSON (character 12)".
class DamagedLine : public std::runtime_error {
 public:
  DamagedLine(std::size_t number, const std::string& what)
      : std::runtime_error("line " + std::to_string(number) + ": " + what), number_(number) {}
  std::size_t number() const { return number_; }

 private:
  std::size_t number_;
};

/// The damage where lines are missing: the lines behind can be read, but not replayed.
DamagedLine damageOf(const MissingLine& missing, std::size_t number);

/// Keeps only one line in memory. A line of more than 64 MiB counts as damaged.
class RecordingReader {
 public:
  /// Reads the first line of `in`, which outlives the reader. Throws `DamagedLine`, also for an unknown
  /// version.
  explicit RecordingReader(std::istream& in);

  /// Offset of local time from UTC at the beginning of the recording, in seconds.
  std::int32_t utcOffset() const { return utcOffset_; }

  /// Reads the next line into `line`, which is valid until the next call. Returns false at the end. Throws
  /// `DamagedLine`; do not call it again after that.
  bool next(Line& line);

  /// Number, from 1, and text of the line read last, valid until the next one is read.
  std::size_t number() const { return number_; }
  std::string_view text() const { return text_; }

 private:
  bool nextText();
  bool refill();
  void readHeader();

  std::istream& in_;
  std::string buffer_;
  std::size_t begin_ = 0;  // of the next line
  std::size_t end_ = 0;    // of the bytes read
  std::string_view text_;
  std::size_t number_ = 0;
  std::int32_t utcOffset_ = 0;
  LineParser parser_;
};

}  // namespace quarnex::recording
