// Reads a recording line by line, each into its typed form; a damaged line is named.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "recording/format/json_fields.h"
#include "recording/format/line.h"

namespace quarnex::recording {

/// A line that cannot be read: which one, and what is wrong with it ("line 7: is no JSON (character 12)").
class DamagedLine : public std::runtime_error {
 public:
  DamagedLine(std::size_t number, const std::string& what)
      : std::runtime_error("line " + std::to_string(number) + ": " + what), number_(number) {}
  std::size_t number() const { return number_; }

 private:
  std::size_t number_;
};

/// Where the recorder could not keep lines, what follows is whole, but cannot be played.
DamagedLine damageOf(const Line& missing, std::size_t number);

/// Keeps one line in memory, however long the recording. A line of more than 64 MiB is damaged.
class RecordingReader {
 public:
  /// Reads the first line of `in`, which outlives the reader. Throws `DamagedLine`, also for a version that
  /// is unknown.
  explicit RecordingReader(std::istream& in);

  /// Seconds that local time is ahead of UTC where the recording begins.
  std::int32_t utcOffset() const { return utcOffset_; }

  /// Reads the next line into `line`; false at the end. Throws `DamagedLine`; nothing can be read after that.
  bool next(Line& line);

  /// The line read last: its number, from 1, and its text, good until the next one is read.
  std::size_t number() const { return number_; }
  std::string_view text() const { return text_; }

 private:
  bool nextText();
  bool refill();
  void readHeader();

  std::istream& in_;
  std::string buffer_;
  std::size_t begin_ = 0;  // of what has not been handed out yet
  std::size_t end_ = 0;    // of what has been read
  std::string_view text_;
  std::size_t number_ = 0;
  std::int32_t utcOffset_ = 0;
  LineFields fields_;
};

}  // namespace quarnex::recording
