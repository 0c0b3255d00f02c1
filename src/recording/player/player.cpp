#include "recording/player/player.h"

#include <algorithm>
#include <utility>

#include "recording/format/line_writer.h"

namespace quarnex::recording {

Player::Player(RecordingReader& reader, ServicesWrapper* wrapper)
    : reader_(reader), model_(reader.utcOffset()), engine_(takeFirstInputs(), model_, wrapper) {}

Replay& Player::takeFirstInputs() {
  readLine();
  takeInputs();
  return *this;
}

ReplayResult Player::result() {
  ReplayResult result;
  result.mismatch = mismatch_;
  result.damage = damage_;
  result.lines = reader_.number() - (running_ || mismatch_ || damage_ ? 1 : 0);
  result.steps = steps_;
  result.links = library().ConnectionCount;
  result.seconds = start_ ? model_.time.second - start_->second : 0;
  return result;
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
    damage_ = damage;
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
  ++steps_;
  OpenStep& step = open_.emplace_back();
  step.line = {reader_.number(), std::string(reader_.text())};
  step.delivered.add(line_);
  const Line delivered = step.delivered.front();
  if (!start_) start_ = stepStartOf(delivered)->at;
  readLine();
  engine_.deliver(delivered);
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
  Mismatch& mismatch = mismatch_.emplace();
  mismatch.expected = {reader_.number(), std::string(reader_.text())};
  mismatch.actual = std::move(actual);
  for (const OpenStep& step : open_) mismatch.steps.push_back(step.line);
  const std::size_t first = reader_.number() > kLinesBefore ? reader_.number() - kLinesBefore : 1;
  for (std::size_t number = first; number < reader_.number(); ++number) {
    mismatch.before.push_back(before_[number % kLinesBefore]);
  }
  running_ = false;
}

ReplayResult replay(RecordingReader& reader) {
  Player player(reader);
  while (player.running()) player.replayStep();
  return player.result();
}

}  // namespace quarnex::recording
