#include "recording/printer/recording_printer.h"

#include <algorithm>

#include "engine/records/text_pieces.h"
#include "recording/format/line_words.h"
#include "recording/format/text_codes.h"
#include "services/wall_clock.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kNumberWidth = 8;
constexpr std::size_t kTimeWidth = 10;
constexpr std::size_t kTagWidth = 20;

std::string padded(std::string_view text, std::size_t width) {
  std::string cell(text);
  if (cell.size() < width) cell.resize(width, ' ');
  return cell;
}

std::string dateOf(const LocalTime& time) {
  return concat(ZeroPadded{time.year, 4}, '-', ZeroPadded{time.month, 2}, '-', ZeroPadded{time.day, 2});
}

std::string timeOf(const LocalTime& time) {
  return concat(ZeroPadded{time.hour, 2}, ':', ZeroPadded{time.minute, 2}, ':', ZeroPadded{time.second, 2});
}

std::string counted(std::size_t number, std::string_view what) {
  return concat(number, ' ', what, number == 1 ? "" : "s");
}

bool isPoll(const Line& line) {
  return line.kind == LineKind::Call &&
         (line.method->name == "MessaggioArrivato" || line.method->name == "GetDebug");
}

bool findsNothing(const Line& line) {
  return line.kind == LineKind::Result &&
         (line.values[0] == Value{false} || line.values[0] == Value{std::string()});
}

}  // namespace

RecordingPrinter::RecordingPrinter(RecordingReader& reader, std::ostream& out)
    : reader_(reader), out_(out), utcOffset_(reader.utcOffset()) {}

void RecordingPrinter::print() {
  Line line;
  try {
    while (reader_.next(line)) show(line);
  } catch (const DamagedLine&) {
    settleStep(nullptr);
    throw;
  }
  settleStep(nullptr);
  if (missing_) throw DamagedLine(*missing_);
}

void RecordingPrinter::show(const Line& line) {
  if (settleStep(&line)) return;
  if (line.utcOffset && (line.isStep() || line.kind == LineKind::Now)) utcOffset_ = *line.utcOffset;
  learn(line);
  if (line.kind == LineKind::Missing) {
    depth_ = 0;
    if (!missing_) missing_ = damageOf(line, reader_.number());
  }
  if (line.isStep()) return showStep(line);
  if (line.kind == LineKind::End) {
    if (depth_ > 0) --depth_;
  } else if (line.kind == LineKind::Now) {
    row(reader_.number(), "", "", "< the clock reads " + timeOf(localTime(line.at, utcOffset_)));
  } else if (line.kind != LineKind::Result || line.values[0] != Value{}) {
    row(reader_.number(), "", tagFor(line), wordsFor(line));
  }
}

void RecordingPrinter::showStep(const Line& step) {
  depth_ = step.nested ? depth_ + 1 : 0;
  const Heading heading{reader_.number(), step.at, step.kind == LineKind::Call ? "host" : tagFor(step),
                        wordsFor(step)};
  if (isPoll(step)) {
    poll_ = heading;
  } else if (step.kind == LineKind::Tick && !step.nested) {
    tick_ = heading;
  } else {
    showHeading(heading);
  }
}

// A tick that the next step follows at once did nothing. True if `next` is the answer of a poll that found
// nothing: it is counted with it. `next` is null at the end.
bool RecordingPrinter::settleStep(const Line* next) {
  const bool stepEnds = next == nullptr || (next->isStep() && !next->nested);
  const bool quietPoll = poll_ && next != nullptr && findsNothing(*next);
  if (quietPoll) ++quietPolls_;
  if (tick_ && stepEnds) ++quietTicks_;
  if (poll_ && !quietPoll) showHeading(*poll_);
  if (tick_ && !stepEnds) showHeading(*tick_);
  poll_.reset();
  tick_.reset();
  if (next == nullptr) showQuietSteps();
  return quietPoll;
}

void RecordingPrinter::showQuietSteps() {
  std::string steps;
  if (quietTicks_ > 0) steps = counted(quietTicks_, "tick");
  if (quietPolls_ > 0) steps += (steps.empty() ? "" : ", ") + counted(quietPolls_, "poll");
  if (!steps.empty()) row(0, "", "", '(' + steps + " without effect)");
  quietTicks_ = quietPolls_ = 0;
}

void RecordingPrinter::showHeading(const Heading& heading) {
  showQuietSteps();
  const LocalTime time = localTime(heading.at, utcOffset_);
  if (date_ != dateOf(time)) {
    date_ = dateOf(time);
    out_ << date_ << '\n';
  }
  row(heading.number, timeOf(time), heading.tag, heading.words);
}

void RecordingPrinter::row(std::size_t number, std::string_view time, std::string_view tag,
                           std::string_view words) {
  const std::string digits = number == 0 ? "" : std::to_string(number);
  out_ << std::string(kNumberWidth - std::min(digits.size(), kNumberWidth), ' ') << digits << "  "
       << padded(time, kTimeWidth) << padded(tag, kTagWidth) << std::string(2 * depth_, ' ') << words << '\n';
}

// Which link a line concerns is known from the `Add` that registered it: the instances that it created, its
// result.
void RecordingPrinter::learn(const Line& line) {
  if (line.kind == LineKind::Call) {
    adding_.clear();
    if (line.method->name == "Add") {
      adding_ = concat("ETH ", ZeroPadded{std::get<std::int16_t>(line.values[1]), 2}, ' ',
                       escaped(std::get<std::string>(line.values[0])));
    }
  }
  if (adding_.empty()) return;
  if (line.kind == LineKind::Performed && line.operation == Operation::Create)
    socketTags_[{line.socket.array, line.socket.index}] = adding_;
  if (line.kind == LineKind::Result && std::holds_alternative<std::int16_t>(line.values[0])) {
    linkTags_[std::get<std::int16_t>(line.values[0])] = adding_;
    adding_.clear();
  }
}

std::string RecordingPrinter::tagFor(const Line& line) const {
  if (line.kind == LineKind::Trace) {
    const auto found = linkTags_.find(line.number);
    return found == linkTags_.end() ? adding_ : found->second;
  }
  const bool ofASocket = line.kind == LineKind::Event || line.kind == LineKind::Performed ||
                         (line.kind >= LineKind::Fetched && line.kind <= LineKind::Property);
  if (!ofASocket) return "";
  const auto found = socketTags_.find({line.socket.array, line.socket.index});
  return found == socketTags_.end() ? "" : found->second;
}

}  // namespace quarnex::recording
