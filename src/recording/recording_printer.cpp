#include "recording/recording_printer.h"

#include <algorithm>

#include "component/wall_clock.h"
#include "diagnostics/trace.h"
#include "recording/line_words.h"
#include "recording/text_codes.h"

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
  return componi(Zeri{time.year, 4}, '-', Zeri{time.month, 2}, '-', Zeri{time.day, 2});
}

std::string timeOf(const LocalTime& time) {
  return componi(Zeri{time.hour, 2}, ':', Zeri{time.minute, 2}, ':', Zeri{time.second, 2});
}

}  // namespace

RecordingPrinter::RecordingPrinter(RecordingReader& reader, std::ostream& out)
    : reader_(reader), out_(out), utcOffset_(reader.utcOffset()) {}

void RecordingPrinter::print() {
  Line line;
  try {
    while (reader_.next(line)) show(line);
  } catch (const DamagedLine&) {
    settleTick(nullptr);
    throw;
  }
  settleTick(nullptr);
  if (missing_) throw DamagedLine(*missing_);
}

void RecordingPrinter::show(const Line& line) {
  settleTick(&line);
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
  const Heading heading{reader_.number(), step.at};
  if (step.kind == LineKind::Tick && !step.nested) {
    tick_ = heading;
  } else {
    showHeading(heading, step.kind == LineKind::Call ? "host" : tagFor(step), wordsFor(step));
  }
}

// A tick that the next step follows at once did nothing. `next` is null at the end.
void RecordingPrinter::settleTick(const Line* next) {
  const bool stepEnds = next == nullptr || (next->isStep() && !next->nested);
  if (tick_ && stepEnds) {
    ++quietTicks_;
  } else if (tick_) {
    showHeading(*tick_, "", "tick");
  }
  tick_.reset();
  if (next == nullptr) showQuietTicks();
}

void RecordingPrinter::showQuietTicks() {
  if (quietTicks_ > 0)
    row(0, "", "", componi('(', quietTicks_, quietTicks_ == 1 ? " tick" : " ticks", " without effect)"));
  quietTicks_ = 0;
}

void RecordingPrinter::showHeading(const Heading& heading, std::string_view tag, std::string_view words) {
  showQuietTicks();
  const LocalTime time = localTime(heading.at, utcOffset_);
  if (date_ != dateOf(time)) {
    date_ = dateOf(time);
    out_ << date_ << '\n';
  }
  row(heading.number, timeOf(time), tag, words);
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
      adding_ = componi("ETH ", Zeri{std::get<std::int16_t>(line.values[1]), 2}, ' ',
                        escaped(std::get<std::string>(line.values[0])));
    }
  }
  if (adding_.empty()) return;
  if (line.kind == LineKind::Performed) socketTags_[{line.socket.array, line.socket.index}] = adding_;
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
