#include "recording/format/step_reader.h"

#include <utility>

namespace quarnex::recording {
namespace {

bool isTopStep(const Line& line) {
  return line.isStep() && !line.nested;
}

}  // namespace

StepReader::StepReader(RecordingReader& reader, std::size_t end) : reader_(reader), end_(end) {
  do {
    more_ = readLine();
  } while (more_ && !isTopStep(line_));
}

bool StepReader::next(Step& step) {
  if (!more_) return false;
  std::vector<Line> lines;
  do {
    lines.push_back(std::move(line_));
    more_ = readLine();
  } while (more_ && !isTopStep(line_));
  step = {std::make_shared<const std::vector<Line>>(std::move(lines))};
  return true;
}

bool StepReader::readLine() {
  line_ = {};
  return reader_.number() + 1 < end_ && reader_.next(line_);
}

}  // namespace quarnex::recording
