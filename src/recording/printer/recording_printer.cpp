#include "recording/printer/recording_printer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iomanip>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "engine/records/text_pieces.h"
#include "recording/format/text_codes.h"
#include "services/socket_errors.h"
#include "services/wall_clock.h"

namespace quarnex::recording {
namespace {

constexpr int kNumberWidth = 8;
constexpr int kTimeWidth = 10;
constexpr int kTagWidth = 20;

// `written` of at most the first 500 bytes; of a longer text with the number of bytes.
std::string brief(std::string_view bytes, std::string (*written)(std::string_view)) {
  constexpr std::size_t kShownMax = 500;
  if (bytes.size() <= kShownMax) return written(bytes);
  return concat(written(bytes.substr(0, kShownMax)), "... (", bytes.size(), " bytes)");
}

std::string inWords(const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) return concat(*number);
  if (const auto* truth = std::get_if<bool>(&value)) return *truth ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return brief(*text, jsonString);
  return "nothing";
}

// Begins with a space, or is empty.
std::string inWords(const Operand& operand) {
  if (const auto* number = std::get_if<std::int32_t>(&operand)) return concat(' ', *number);
  if (const auto* text = std::get_if<std::string_view>(&operand)) return ' ' + brief(*text, jsonString);
  return "";
}

// With the socket instance, if it is on one.
std::string inWords(Operation operation, SocketId socket) {
  if (!shapeOf(operation).onSocket) return std::string(nameOf(operation));
  return concat(nameOf(operation), ' ', nameOf(socket.array), ' ', socket.index);
}

/// Describes a line. The description is empty if the printer shows the line in another way.
struct LineWords {
  std::string operator()(const CallLine& line) const {
    std::string words = concat(line.method->name, '(');
    for (const Value& parameter : line.parameters)
      words += concat(&parameter == line.parameters.data() ? "" : ", ", inWords(parameter));
    return words + ')';
  }
  std::string operator()(const EventLine& line) const {
    std::string words = concat(kEvents[static_cast<std::size_t>(line.event)], " on ",
                               nameOf(line.socket.array), ' ', line.socket.index);
    if (line.event == EventKind::Accept)
      words += concat(" from ", escaped(line.remoteHost), ", handle ", line.handle);
    if (line.code == 0) return words;
    const std::string_view description = socketErrorDescription(line.code);
    return concat(words, ", code ", line.code, description.empty() ? "" : " ", description);
  }
  std::string operator()(const OperationLine& line) const {
    return concat("> ", inWords(line.operation, line.socket), inWords(line.argument));
  }
  std::string operator()(const FailureLine& line) const {
    return concat("the call failed: ", line.number, ' ', escaped(line.description));
  }
  std::string operator()(const FailedLine& line) const {
    return concat(isRead(line.operation) ? "< reading " : "< ", nameOf(line.operation),
                  " failed: ", line.number, ' ', escaped(line.description));
  }
  std::string operator()(const PropertyLine& line) const {
    return concat("< ", inWords(line.operation, line.socket), " reads", inWords(line.value));
  }
  std::string operator()(const TickLine&) const { return "tick"; }
  std::string operator()(const TraceLine& line) const { return brief(line.text, escaped); }
  std::string operator()(const ResultLine& line) const { return "returns " + inWords(*line.value); }
  std::string operator()(const FetchedLine& line) const { return "< " + brief(line.bytes, jsonString); }
  std::string operator()(const InvalidLine&) const { return "(no output that an engine could have)"; }
  std::string operator()(const MissingLine& line) const {
    return concat('(', line.bytes, " bytes could not be recorded here)");
  }
  std::string operator()(const LimitLine& line) const {
    return concat("(the recording ends here, at its limit of ", line.bytes, " bytes)");
  }
  std::string operator()(const auto&) const { return ""; }
};

std::string dateOf(const LocalTime& time) {
  return concat(ZeroPadded{time.year, 4}, '-', ZeroPadded{time.month, 2}, '-', ZeroPadded{time.day, 2});
}

std::string timeOf(const LocalTime& time) {
  return concat(ZeroPadded{time.hour, 2}, ':', ZeroPadded{time.minute, 2}, ':', ZeroPadded{time.second, 2});
}

// In seconds since the recording began, "" if not recorded.
std::string timeIn(const StepStart& start) {
  return start.ms ? concat("  (", *start.ms / 1000, '.', ZeroPadded{*start.ms % 1000, 3}, " s)") : "";
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

class RecordingPrinter {
 public:
  RecordingPrinter(RecordingReader& reader, std::ostream& out)
      : reader_(reader), out_(out), utcOffset_(reader.utcOffset()) {}

  void print() {
    Line line;
    try {
      while (reader_.next(line)) show(line);
    } catch (const DamagedLine& damage) {
      damage_ = damage;
    }
    settleStep(nullptr);
    if (damage_) throw DamagedLine(*damage_);
  }

 private:
  struct Heading {
    std::size_t number;
    Instant at;
    std::string tag;
    std::string words;
    bool isPoll;
  };

  void show(const Line& line) {
    if (settleStep(&line)) return;
    learn(line);
    if (const auto* missing = std::get_if<MissingLine>(&line)) {
      depth_ = 0;
      if (!damage_) damage_ = damageOf(*missing, reader_.number());
    }
    if (const StepStart* start = stepStartOf(line)) {
      showStep(line, *start);
    } else if (std::holds_alternative<EndLine>(line)) {
      if (depth_ > 0) --depth_;
    } else if (const auto* time = std::get_if<NowLine>(&line)) {
      utcOffset_ = time->utcOffset.value_or(utcOffset_);
      row(reader_.number(), "", "", "< the clock reads " + timeOf(localTime(time->at, utcOffset_)));
    } else if (!returnsOneOf({Value{}}, line)) {
      row(reader_.number(), "", tagFor(line), std::visit(LineWords(), line));
    }
  }

  void showStep(const Line& step, const StepStart& start) {
    utcOffset_ = start.utcOffset.value_or(utcOffset_);
    depth_ = start.nested ? depth_ + 1 : 0;
    quietPolls_ += static_cast<std::size_t>(start.idleCalls.value_or(0));
    const bool ofHost = std::holds_alternative<CallLine>(step);
    const Heading heading{reader_.number(), start.at, ofHost ? "host" : tagFor(step),
                          std::visit(LineWords(), step) + timeIn(start), isPoll(step)};
    if (heading.isPoll || (std::holds_alternative<TickLine>(step) && !start.nested)) {
      unsettled_ = heading;
    } else {
      showHeading(heading);
    }
  }

  // A tick without lines of its own did nothing. True if `next` is the answer of a poll that found nothing;
  // both are then counted as one. `next` is null at the end.
  bool settleStep(const Line* next) {
    bool quietPoll = false;
    if (const std::optional<Heading> step = std::exchange(unsettled_, std::nullopt)) {
      quietPoll = step->isPoll && next != nullptr && returnsOneOf({false, std::string()}, *next);
      const bool quietTick = !step->isPoll && (next == nullptr || isTopStep(*next));
      if (quietPoll) ++quietPolls_;
      if (quietTick) ++quietTicks_;
      if (!quietPoll && !quietTick) showHeading(*step);
    }
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
    out_ << std::right << std::setw(kNumberWidth) << (number == 0 ? "" : std::to_string(number)) << "  "
         << std::left << std::setw(kTimeWidth) << time << std::setw(kTagWidth) << tag
         << std::string(2 * depth_, ' ') << words << '\n';
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
  std::string date_;                  // the last one printed
  std::size_t depth_ = 0;             // of nested steps
  std::optional<Heading> unsettled_;  // a tick or poll; whether it had any effect depends on the next line
  std::size_t quietTicks_ = 0;        // not printed yet
  std::size_t quietPolls_ = 0;
  std::optional<DamagedLine> damage_;

  std::string adding_;  // tag of the link that the current `Add` registers
  std::map<std::int32_t, std::string> linkTags_;
  std::map<SocketId, std::string> socketTags_;
};

}  // namespace

void printRecording(RecordingReader& reader, std::ostream& out) {
  RecordingPrinter(reader, out).print();
}

}  // namespace quarnex::recording
