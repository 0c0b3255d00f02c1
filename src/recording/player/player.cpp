#include "recording/player/player.h"

#include <algorithm>
#include <utility>

#include "engine/records/text_pieces.h"
#include "recording/format/line_writer.h"
#include "recording/format/text_codes.h"

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

}  // namespace

Player::Player(RecordingReader& reader, ServicesWrapper* wrapper)
    : reader_(reader), model_(reader.utcOffset()), engine_(takeFirstInputs(), model_, wrapper) {}

Replay& Player::takeFirstInputs() {
  readLine();
  takeInputs();
  return *this;
}

const ReplayResult& Player::result() {
  result_.lines = reader_.number() - (running_ || result_.mismatch || result_.damage ? 1 : 0);
  result_.links = library().ConnectionCount;
  result_.seconds = start_ ? model_.time.second - start_->second : 0;
  return result_;
}

void Player::readLine() {
  NumberedLine& left = before_[reader_.number() % kLinesBefore];
  left.number = reader_.number();
  left.text = reader_.text();
  try {
    running_ = reader_.next(line_);
    const auto* missing = std::get_if<MissingLine>(&line_);
    if (running_ && missing != nullptr) throw damageOf(*missing, reader_.number());
  } catch (const DamagedLine& damage) {
    result_.damage = damage;
    running_ = false;
  }
}

void Player::replayStep() {
  open_.resize(std::min<std::size_t>(open_.size(), 1));
  if (!isTopStep(line_)) return differ(std::string(kNothingMore));
  open_.clear();
  deliverStep();
}

void Player::deliverStep() {
  ++result_.steps;
  OpenStep& step = open_.emplace_back();
  step.line = {reader_.number(), std::string(reader_.text())};
  step.delivered.add(line_);
  const Line delivered = step.delivered.front();
  if (!start_) start_ = stepStartOf(delivered)->at;
  readLine();
  engine_.replay(delivered);
}

void Player::replayNestedStep() {
  deliverStep();
  if (!compare(EndLine{})) return;
  open_.pop_back();
  readLine();
}

void Player::take(const Line& output) {
  if (compare(output)) readLine();
}

Answer Player::perform(const OperationLine& output) {
  if (!compare(output)) return {};
  readLine();
  while (running_ && isStep(line_) && !isTopStep(line_)) replayNestedStep();
  std::optional<Answer> answer = running_ ? answerIn(line_, output) : std::nullopt;
  if (!answer) return {};
  readLine();
  return *std::move(answer);
}

void Player::takeInputs() {
  while (running_ && model_.takeInput(line_)) readLine();
}

bool Player::nextIsFetch(SocketId socket) const {
  return running_ && isEqual(line_, OperationLine{Operation::Fetch, socket, {}});
}

bool Player::compare(const Line& output) {
  if (running_ && !isEqual(line_, output)) differ(textOf(output));
  return running_;
}

void Player::differ(std::string actual) {
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

ReplayResult replay(RecordingReader& reader) {
  Player player(reader);
  while (player.running()) player.replayStep();
  return player.result();
}

}  // namespace quarnex::recording
