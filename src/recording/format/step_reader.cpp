#include "recording/format/step_reader.h"

#include <utility>

namespace quarnex::recording {

StepReader::StepReader(RecordingReader& reader, std::size_t end) : reader_(reader), end_(end) {
  do {
    more_ = readLine();
  } while (more_ && !isTopStep(line_));
}

bool StepReader::next(RecordedStep& step) {
  if (!more_) return false;
  StoredLines lines;
  do {
    lines.add(line_);
    more_ = readLine();
  } while (more_ && !isTopStep(line_));
  step = {std::make_shared<const StoredLines>(std::move(lines))};
  return true;
}

bool StepReader::readLine() {
  return reader_.number() + 1 < end_ && reader_.next(line_);
}

}  // namespace quarnex::recording
