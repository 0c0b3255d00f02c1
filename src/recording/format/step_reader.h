// Steps of a recording: each host call, tick or event with all that stands inside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "recording/format/recording_reader.h"

namespace quarnex::recording {

/// A step, put off by so many seconds.
struct Step {
  std::shared_ptr<const std::vector<Line>> lines;
  std::int64_t shift = 0;

  const Line& head() const { return lines->front(); }
  Instant at() const { return {head().at.second + shift}; }
};

class StepReader {
 public:
  /// Of a recording up to, and without, line `end`.
  StepReader(RecordingReader& reader, std::size_t end);

  /// Reads the next step; false if there is none. What stands before the first one is left out.
  bool next(Step& step);
  bool atEnd() const { return !more_; }

 private:
  bool readLine();

  RecordingReader& reader_;
  std::size_t end_;
  Line line_;  // the next one, if there is
  bool more_;
};

}  // namespace quarnex::recording
