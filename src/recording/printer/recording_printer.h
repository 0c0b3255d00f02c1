// Prints a recording for people: local time, link, and each line in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "recording/format/recording_reader.h"

namespace quarnex::recording {

/// Prints one row per line: its number, the time if a step begins, the link, and the line in words. Nested
/// lines are indented. Ticks that do nothing and polls that find nothing are only counted.
class RecordingPrinter {
 public:
  RecordingPrinter(RecordingReader& reader, std::ostream& out);

  /// Prints the rest of the recording. Throws `DamagedLine` at a damaged line, after printing those before
  /// it; for missing lines, after printing everything.
  void print();

 private:
  struct Heading {
    std::size_t number;
    Instant at;
    std::string tag;
    std::string words;
  };

  void show(const Line& line);
  void showStep(const Line& step, const StepStart& start);
  bool settleStep(const Line* next);
  void showQuietSteps();
  void showHeading(const Heading& heading);
  void row(std::size_t number, std::string_view time, std::string_view tag, std::string_view words);
  void learn(const Line& line);
  std::string tagFor(const Line& line) const;

  RecordingReader& reader_;
  std::ostream& out_;
  std::int32_t utcOffset_;
  std::string date_;             // the last one printed
  std::size_t depth_ = 0;        // of nested steps
  std::optional<Heading> tick_;  // the current step; whether it did anything depends on the next line
  std::optional<Heading> poll_;  // the current step; whether it found anything depends on the next line
  std::size_t quietTicks_ = 0;   // not printed yet
  std::size_t quietPolls_ = 0;
  std::optional<DamagedLine> missing_;

  std::string adding_;  // tag of the link that the current `Add` registers
  std::map<std::int32_t, std::string> linkTags_;
  std::map<std::pair<SocketArray, std::int16_t>, std::string> socketTags_;
};

}  // namespace quarnex::recording
