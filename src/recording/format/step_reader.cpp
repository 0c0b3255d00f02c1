#include "recording/format/step_reader.h"

#include <utility>

namespace quarnex::recording {

/// Lets the members of a copied line refer to copies.
class StoredLines::Copier {
 public:
  explicit Copier(StoredLines& store) : store_(store) {}

  void operator()(Key, std::string_view& text) { text = store_.texts_.emplace_front(text); }
  void operator()(Key key, Operand& operand, OperandKind) {
    if (auto* text = std::get_if<std::string_view>(&operand)) (*this)(key, *text);
  }
  void operator()(Key, std::span<const Value>& values) {
    values = store_.values_.emplace_front(values.begin(), values.end());
  }
  void operator()(Key, const Value*& value) { value = &store_.values_.emplace_front(1, *value).front(); }
  // The other members refer to nothing.
  void operator()(auto&&...) {}

 private:
  StoredLines& store_;
};

void StoredLines::add(const Line& line) {
  Copier copier(*this);
  visitMembers(copier, lines_.emplace_back(line));
}

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
