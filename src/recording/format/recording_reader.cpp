#include "recording/format/recording_reader.h"

#include "services/compression.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kBlock = std::size_t{8} << 10;
constexpr std::size_t kLineMax = std::size_t{64} << 20;

/// Lets the members of a copied line refer to copies.
struct Copier {
  std::forward_list<std::string>& texts;
  std::forward_list<std::vector<Value>>& values;

  void operator()(Key, std::string_view& text) { text = texts.emplace_front(text); }
  void operator()(Key key, Operand& operand, OperandKind) {
    if (auto* text = std::get_if<std::string_view>(&operand)) (*this)(key, *text);
  }
  void operator()(Key, std::span<const Value>& parameters) {
    parameters = values.emplace_front(parameters.begin(), parameters.end());
  }
  void operator()(Key, const Value*& result) { result = &values.emplace_front(1, *result).front(); }
  // The other members refer to nothing.
  void operator()(auto&&...) {}
};

}  // namespace

DamagedLine damageOf(const MissingLine& missing, std::size_t number) {
  return {number, std::to_string(missing.bytes) +
                      " bytes could not be recorded here; nothing behind it can be replayed"};
}

RecordingReader::RecordingReader(std::istream& in) : in_(&in) {
  constexpr int kFirstOfGzip = 0x1F;
  try {
    if (in.peek() == kFirstOfGzip) in_ = (decompressed_ = decompressed(in)).get();
    if (!nextText()) throw LineError("is missing: the file is empty");
    utcOffset_ = parser_.parseHeader(text_);
  } catch (const std::runtime_error& damage) {
    throw DamagedLine(1, damage.what());
  }
}

bool RecordingReader::next(Line& line) {
  try {
    if (!nextText()) return false;
    line = parser_.parse(text_);
    return true;
  } catch (const std::runtime_error& damage) {
    throw DamagedLine(number_, damage.what());
  }
}

// Reads in blocks, since nothing else limits the length of a line.
bool RecordingReader::nextText() {
  char block[kBlock];
  text_.clear();
  ++number_;
  for (;;) {
    in_->getline(block, kBlock);
    const auto count = static_cast<std::size_t>(in_->gcount());
    text_.append(block, in_->good() ? count - 1 : count);  // without the line feed
    if (in_->good()) return true;
    if (in_->bad()) throw LineError("cannot be read: the system reports an error");
    if (in_->eof()) break;
    if (text_.size() > kLineMax) throw LineError("is longer than 64 MiB");
    in_->clear();  // the block is full
  }
  if (!text_.empty()) throw LineError("does not end with a line feed, as if the file had been cut off here");
  --number_;
  return false;
}

void StoredLines::add(const Line& line) {
  Copier copier{texts_, values_};
  visitMembers(copier, lines_.emplace_back(line));
}

StepReader::StepReader(RecordingReader& reader, std::size_t end) : reader_(reader), end_(end) {
  readLines();
}

bool StepReader::next(RecordedStep& step) {
  if (!more_) return false;
  step = {std::make_shared<const StoredLines>(readLines())};
  return true;
}

StoredLines StepReader::readLines() {
  StoredLines lines;
  do {
    lines.add(line_);
    more_ = reader_.number() + 1 < end_ && reader_.next(line_);
  } while (more_ && !isTopStep(line_));
  return lines;
}

}  // namespace quarnex::recording
