// Shows a recording to people: local time, the link's tag, and in words what came and what was done.
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

/// One row a line: its number, the time where a step begins, whose link it concerns, what it says. What is
/// nested is indented; ticks that do nothing and polls that find nothing are only counted.
class RecordingPrinter {
 public:
  RecordingPrinter(RecordingReader& reader, std::ostream& out);

  /// Prints all that the reader still has. Throws `DamagedLine` when everything before that line is printed;
  /// for lines that are missing, when everything is.
  void print();

 private:
  struct Heading {
    std::size_t number;
    Instant at;
    std::string tag;
    std::string words;
  };

  void show(const Line& line);
  void showStep(const Line& step);
  bool settleStep(const Line* next);
  void showQuietSteps();
  void showHeading(const Heading& heading);
  void row(std::size_t number, std::string_view time, std::string_view tag, std::string_view words);
  void learn(const Line& line);
  std::string tagFor(const Line& line) const;

  RecordingReader& reader_;
  std::ostream& out_;
  std::int32_t utcOffset_;
  std::string date_;             // printed last
  std::size_t depth_ = 0;        // of nested steps
  std::optional<Heading> tick_;  // whose next line will tell whether it did anything
  std::optional<Heading> poll_;  // whose next line will tell whether it found anything
  std::size_t quietTicks_ = 0;   // not printed yet
  std::size_t quietPolls_ = 0;
  std::optional<DamagedLine> missing_;

  std::string adding_;  // tag of the link that an `Add` in progress registers
  std::map<std::int32_t, std::string> linkTags_;
  std::map<std::pair<SocketArray, std::int16_t>, std::string> socketTags_;
};

}  // namespace quarnex::recording
