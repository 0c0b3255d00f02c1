// Reads a recording line by line or step by step, and reports the first damaged line with its number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <istream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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
  /// Reads the first line of `in`, which outlives the reader and may be compressed by gzip. Throws
  /// `DamagedLine`, also for an unknown version.
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

  std::unique_ptr<std::istream> decompressed_;
  std::istream* in_;
  std::string text_;
  std::size_t number_ = 0;
  std::int32_t utcOffset_ = 0;
  LineParser parser_;
};

/// Lines together with the texts and values that they refer to.
class StoredLines {
 public:
  StoredLines() = default;
  StoredLines(StoredLines&&) = default;
  StoredLines& operator=(StoredLines&&) = default;

  /// Copies the line and all that it refers to.
  void add(const Line& line);

  bool empty() const { return lines_.empty(); }
  const Line& front() const { return lines_.front(); }
  auto begin() const { return lines_.begin(); }
  auto end() const { return lines_.end(); }

 private:
  std::vector<Line> lines_;
  std::forward_list<std::string> texts_;
  std::forward_list<std::vector<Value>> values_;
};

/// A host call, tick or event with all lines inside it.
struct RecordedStep {
  std::shared_ptr<const StoredLines> lines;
  std::int64_t shift = 0;  ///< seconds by which the step takes place later than recorded

  const Line& head() const { return lines->front(); }
  Instant at() const { return {stepStartOf(head())->at.second + shift}; }
};

class StepReader {
 public:
  /// Reads the steps before line `end`.
  StepReader(RecordingReader& reader, std::size_t end);

  /// Reads the next step; false if there is none. Lines before the first step are skipped.
  bool next(RecordedStep& step);
  bool atEnd() const { return !more_; }

 private:
  /// From the current line up to the next step.
  StoredLines readLines();

  RecordingReader& reader_;
  std::size_t end_;
  Line line_;  // the first one of the next step
  bool more_ = false;
};

}  // namespace quarnex::recording
