// Splits a recording into steps: each host call, tick or event with all the lines inside it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "recording/format/recording_reader.h"
#include "recording/format/stored_lines.h"

namespace quarnex::recording {

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
