#include "recording/printer/recording_printer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "engine/records/text_pieces.h"
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
  const auto* call = std::get_if<CallLine>(&line);
  return call != nullptr && (call->method->name == "MessaggioArrivato" || call->method->name == "GetDebug");
}

bool returnsOneOf(std::initializer_list<Value> values, const Line& line) {
  const auto* result = std::get_if<ResultLine>(&line);
  return result != nullptr && std::ranges::find(values, *result->value) != values.end();
}

std::string wordsFor(const Line& line) {
  return std::visit([](const auto& one) { return one.words(); }, line);
}

class RecordingPrinter {
 public:
  RecordingPrinter(RecordingReader& reader, std::ostream& out)
      : reader_(reader), out_(out), utcOffset_(reader.utcOffset()) {}

  void print() {
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

 private:
  struct Heading {
    std::size_t number;
    Instant at;
    std::string tag;
    std::string words;
  };

  void show(const Line& line) {
    if (settleStep(&line)) return;
    learn(line);
    if (const auto* missing = std::get_if<MissingLine>(&line)) {
      depth_ = 0;
      if (!missing_) missing_ = damageOf(*missing, reader_.number());
    }
    if (const StepStart* start = stepStartOf(line)) {
      showStep(line, *start);
    } else if (std::holds_alternative<EndLine>(line)) {
      if (depth_ > 0) --depth_;
    } else if (const auto* time = std::get_if<NowLine>(&line)) {
      utcOffset_ = time->utcOffset.value_or(utcOffset_);
      row(reader_.number(), "", "", "< the clock reads " + timeOf(localTime(time->at, utcOffset_)));
    } else if (!returnsOneOf({Value{}}, line)) {
      row(reader_.number(), "", tagFor(line), wordsFor(line));
    }
  }

  void showStep(const Line& step, const StepStart& start) {
    utcOffset_ = start.utcOffset.value_or(utcOffset_);
    depth_ = start.nested ? depth_ + 1 : 0;
    const bool ofHost = std::holds_alternative<CallLine>(step);
    const Heading heading{reader_.number(), start.at, ofHost ? "host" : tagFor(step), wordsFor(step)};
    if (isPoll(step)) {
      poll_ = heading;
    } else if (std::holds_alternative<TickLine>(step) && !start.nested) {
      tick_ = heading;
    } else {
      showHeading(heading);
    }
  }

  // A tick without lines of its own did nothing. True if `next` is the answer of a poll that found nothing;
  // both are then counted as one. `next` is null at the end.
  bool settleStep(const Line* next) {
    const bool stepEnds = next == nullptr || isTopStep(*next);
    const bool quietPoll = poll_ && next != nullptr && returnsOneOf({false, std::string()}, *next);
    if (quietPoll) ++quietPolls_;
    if (tick_ && stepEnds) ++quietTicks_;
    if (poll_ && !quietPoll) showHeading(*poll_);
    if (tick_ && !stepEnds) showHeading(*tick_);
    poll_.reset();
    tick_.reset();
    if (next == nullptr) showQuietSteps();
    return quietPoll;
  }

  void showQuietSteps() {
    std::string steps;
    if (quietTicks_ > 0) steps = counted(quietTicks_, "tick");
    if (quietPolls_ > 0) steps += (steps.empty() ? "" : ", ") + counted(quietPolls_, "poll");
    if (!steps.empty()) row(0, "", "", '(' + steps + " without effect)");
    quietTicks_ = quietPolls_ = 0;
  }

  void showHeading(const Heading& heading) {
    showQuietSteps();
    const LocalTime time = localTime(heading.at, utcOffset_);
    if (date_ != dateOf(time)) {
      date_ = dateOf(time);
      out_ << date_ << '\n';
    }
    row(heading.number, timeOf(time), heading.tag, heading.words);
  }

  void row(std::size_t number, std::string_view time, std::string_view tag, std::string_view words) {
    const std::string digits = number == 0 ? "" : std::to_string(number);
    out_ << std::string(kNumberWidth - std::min(digits.size(), kNumberWidth), ' ') << digits << "  "
         << padded(time, kTimeWidth) << padded(tag, kTagWidth) << std::string(2 * depth_, ' ') << words
         << '\n';
  }

  // A link's lines are recognised by the Add call that registered it: by the instances that it created and by
  // its result.
  void learn(const Line& line) {
    if (const auto* call = std::get_if<CallLine>(&line)) {
      adding_.clear();
      if (call->method->name == "Add") {
        adding_ = concat("ETH ", ZeroPadded{std::get<std::int16_t>(call->parameters[1]), 2}, ' ',
                         escaped(std::get<std::string>(call->parameters[0])));
      }
    }
    if (adding_.empty()) return;
    const auto* performed = std::get_if<OperationLine>(&line);
    if (performed != nullptr && performed->operation == Operation::Create)
      socketTags_[performed->socket] = adding_;
    const auto* result = std::get_if<ResultLine>(&line);
    if (result != nullptr && std::holds_alternative<std::int16_t>(*result->value)) {
      linkTags_[std::get<std::int16_t>(*result->value)] = adding_;
      adding_.clear();
    }
  }

  std::string tagFor(const Line& line) const {
    if (const auto* trace = std::get_if<TraceLine>(&line)) {
      const auto found = linkTags_.find(trace->link);
      return found == linkTags_.end() ? adding_ : found->second;
    }
    const SocketId* socket = socketOf(line);
    if (socket == nullptr) return "";
    const auto found = socketTags_.find(*socket);
    return found == socketTags_.end() ? "" : found->second;
  }

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
  std::map<SocketId, std::string> socketTags_;
};

}  // namespace

void printRecording(RecordingReader& reader, std::ostream& out) {
  RecordingPrinter(reader, out).print();
}

}  // namespace quarnex::recording
