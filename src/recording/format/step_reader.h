// Splits a recording into steps and stores each with all its lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <memory>
#include <string>
#include <vector>

#include "recording/format/recording_reader.h"

namespace quarnex::recording {

/// Lines together with the texts and values that they refer to.
class StoredLines {
 public:
  StoredLines() = default;
  StoredLines(StoredLines&&) = default;
  StoredLines& operator=(StoredLines&&) = default;

  /// Copies the line and all that it refers to.
  void add(const Line& line);

  bool empty() const { return lines_.empty(); }
  std::size_t size() const { return lines_.size(); }
  const Line& front() const { return lines_.front(); }
  const Line& operator[](std::size_t at) const { return lines_[at]; }
  auto begin() const { return lines_.begin(); }
  auto end() const { return lines_.end(); }

 private:
  class Copier;

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
  bool readLine();

  RecordingReader& reader_;
  std::size_t end_;
  Line line_;  // the first one of the next step
  bool more_;
};

}  // namespace quarnex::recording
