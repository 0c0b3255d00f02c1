#include "recording/player/player.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/records/text_pieces.h"
#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"
#include "recording/format/text_codes.h"
#include "recording/player/replayed_engine.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kWidth = 400;  // bytes shown of a line
constexpr std::size_t kLead = 60;    // of them before the first byte that differs
constexpr std::string_view kCut = "...";

// Within a character of UTF-8.
bool continues(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The first `most` bytes of UTF-8 `text`, or up to three fewer, so that no character is split.
std::string_view shortened(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  while (most > 0 && continues(text[most])) --most;
  return text.substr(0, most);
}

std::string window(std::string_view text, std::size_t from) {
  const std::string_view rest = text.substr(from), none;
  return concat(from > 0 ? kCut : none, shortened(rest, kWidth), rest.size() > kWidth ? kCut : none);
}

std::string row(std::string_view label, std::string_view number, std::string_view text) {
  std::string line = concat("  ", label);
  line.resize(20 - std::min<std::size_t>(number.size(), 8), ' ');
  return concat(line, number, "  ", text, '\n');
}

std::string row(std::string_view label, const NumberedLine& line) {
  return row(label, std::to_string(line.number), window(terminalSafe(line.text), 0));
}

// Length in bytes of the common beginning, without a partial character.
std::size_t commonLength(std::string_view one, std::string_view other) {
  const auto common = static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
  return shortened(one, common).size();
}

std::size_t charactersIn(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::ranges::count_if(text, continues));
}

// The links of the expected output (unless that is the next step) and of the actual one; if neither names a
// link, the link of the step.
std::vector<std::int16_t> linksOf(const Mismatch& mismatch, const Library& library) {
  LineParser parser;
  std::vector<std::int16_t> links;
  const auto add = [&](const std::string& text, bool orStep) {
    const Line line = parser.parse(text);
    const std::int16_t link = isStep(line) && !orStep ? std::int16_t{0} : linkOf(library, line);
    if (link != 0 && std::ranges::find(links, link) == links.end()) links.push_back(link);
  };
  add(mismatch.expected.text, false);
  if (mismatch.actual != kNothingMore) add(mismatch.actual, true);
  if (links.empty() && !mismatch.steps.empty()) add(mismatch.steps.back().text, true);
  return links;
}

class Player final : private Replay {
 public:
  Player(RecordingReader& reader, ServicesWrapper* wrapper)
      : reader_(reader), model_(reader.utcOffset()), engine_(takeFirstInputs(), model_, wrapper) {}

  /// False once the replay has ended.
  bool running() const { return running_; }
  /// Replays the next host call, tick or event, with all steps nested in it. If the next line does not begin
  /// a step, that is a mismatch.
  void replayStep() {
    open_.resize(std::min<std::size_t>(open_.size(), 1));
    if (!isTopStep(line_)) return differ(std::string(kNothingMore));
    open_.clear();
    deliverStep();
  }
  ReplayResult result() {
    if (result_.mismatch) result_.mismatch->links = linksOf(*result_.mismatch, engine_.library());
    result_.lines = reader_.number() - (running_ || result_.mismatch || result_.damage ? 1 : 0);
    result_.links = engine_.library().ConnectionCount;
    result_.seconds = start_ ? model_.time.second - start_->second : 0;
    return result_;
  }

 private:
  struct OpenStep {
    NumberedLine line;
    StoredLines delivered;  // the same line
  };

  void take(const Line& output) override {
    if (compare(output)) readLine();
  }
  Answer perform(const OperationLine& output) override {
    if (!compare(output)) return {};
    readLine();
    while (running_ && isStep(line_) && !isTopStep(line_)) replayNestedStep();
    std::optional<Answer> answer = running_ ? answerIn(line_, output) : std::nullopt;
    if (!answer) return {};
    readLine();
    return *std::move(answer);
  }
  void takeInputs() override {
    while (running_ && model_.takeInput(line_)) readLine();
  }
  bool nextIsFetch(SocketId socket) const override {
    return running_ && isEqual(line_, OperationLine{Operation::Fetch, socket, {}});
  }

  // Before the engine begins.
  Replay& takeFirstInputs() {
    readLine();
    takeInputs();
    return *this;
  }
  void readLine() {
    NumberedLine& left = before_[reader_.number() % kLinesBefore];
    left.number = reader_.number();
    left.text = reader_.text();
    try {
      running_ = reader_.next(line_);
      const auto* missing = std::get_if<MissingLine>(&line_);
      if (running_ && missing != nullptr) throw damageOf(*missing, reader_.number());
      running_ = running_ && !std::holds_alternative<LimitLine>(line_);
    } catch (const DamagedLine& damage) {
      result_.damage = damage;
      running_ = false;
    }
  }
  void deliverStep() {
    ++result_.steps;
    OpenStep& step = open_.emplace_back();
    step.line = {reader_.number(), std::string(reader_.text())};
    step.delivered.add(line_);
    const Line delivered = step.delivered.front();
    if (!start_) start_ = stepStartOf(delivered)->at;
    readLine();
    engine_.replay(delivered);
  }
  void replayNestedStep() {
    deliverStep();
    if (!compare(EndLine{})) return;
    open_.pop_back();
    readLine();
  }
  bool compare(const Line& output) {
    if (running_ && !isEqual(line_, output)) differ(textOf(output));
    return running_;
  }
  void differ(std::string actual) {
    Mismatch& mismatch = result_.mismatch.emplace();
    mismatch.expected = {reader_.number(), std::string(reader_.text())};
    mismatch.actual = std::move(actual);
    for (const OpenStep& step : open_) mismatch.steps.push_back(step.line);
    const std::size_t first = reader_.number() > kLinesBefore ? reader_.number() - kLinesBefore : 1;
    for (std::size_t number = first; number < reader_.number(); ++number) {
      mismatch.before.push_back(before_[number % kLinesBefore]);
    }
    running_ = false;
  }

  RecordingReader& reader_;
  ServiceModel model_;
  Line line_;  // the next one, while running
  bool running_ = true;
  // The steps in progress, innermost last; the outermost stays until the next begins.
  std::vector<OpenStep> open_;
  std::array<NumberedLine, kLinesBefore> before_;  // by line number
  std::optional<Instant> start_;                   // of the first step
  ReplayResult result_;
  ReplayedEngine engine_;
};

}  // namespace

std::string reportOf(const Mismatch& mismatch) {
  std::string report;
  for (const NumberedLine& line : mismatch.before) report += row("before", line);
  for (const NumberedLine& step : mismatch.steps) report += row("step", step);

  const std::string expected = terminalSafe(mismatch.expected.text);
  const std::string actual = terminalSafe(mismatch.actual);
  const std::size_t common = commonLength(expected, actual);
  const std::size_t from = common + kLead > kWidth ? shortened(expected, common - kLead).size() : 0;
  const std::size_t mark = charactersIn(expected.substr(from, common - from)) + (from > 0 ? kCut.size() : 0);
  report += row("expected", std::to_string(mismatch.expected.number), window(expected, from));
  report += row("actual", "", window(actual, from));
  report += row("", "", std::string(mark, ' ') + '^');
  return report;
}

ReplayResult replay(RecordingReader& reader, ServicesWrapper* wrapper, const std::function<bool()>& isOver) {
  Player player(reader, wrapper);
  for (bool over = false; player.running() && !over; over = isOver && isOver()) player.replayStep();
  return player.result();
}

std::int16_t linkOf(const Library& library, const Line& line) {
  if (const auto* trace = std::get_if<TraceLine>(&line)) return trace->link;
  if (const auto* call = std::get_if<CallLine>(&line)) {
    const auto* index =
        call->parameters.empty() ? nullptr : std::get_if<std::int16_t>(&call->parameters.front());
    return index == nullptr ? std::int16_t{0} : *index;
  }
  const bool mayHaveLink =
      std::holds_alternative<EventLine>(line) || std::holds_alternative<OperationLine>(line);
  const SocketId* socket = mayHaveLink ? socketOf(line) : nullptr;
  if (socket == nullptr) return 0;
  const auto& links = socket->array == SocketArray::ClientSocket ? library.ClientLinks : library.ServerLinks;
  const auto slot = static_cast<std::size_t>(socket->index) - 1;
  return slot < links.size() ? links[slot] : std::int16_t{0};
}

}  // namespace quarnex::recording
