#include "recording/player/strict_replay.h"

#include <algorithm>
#include <utility>

#include "recording/format/line_writer.h"

namespace quarnex::recording {

StrictReplay::StrictReplay(RecordingReader& reader, ServiceModel& model, Deliver deliver)
    : reader_(reader), model_(model), deliver_(std::move(deliver)) {
  readLine();
  takeInputs();
}

void StrictReplay::readLine() {
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

// The line was an output, or the beginning or end of a step: failing reads succeed again behind it.
void StrictReplay::nextOutput() {
  model_.letReadsSucceed();
  readLine();
}

void StrictReplay::takeInputs() {
  while (running_ && model_.takeInput(line_)) readLine();
}

template <class Output>
bool StrictReplay::compare(const Output& output) {
  if (running_ && !isEqual(line_, output)) differ(textOf(output));
  return running_;
}

void StrictReplay::differ(std::string actual) {
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

void StrictReplay::replayStep() {
  open_.resize(std::min<std::size_t>(open_.size(), 1));
  if (!isTopStep(line_)) return differ(std::string(kNothingMore));
  open_.clear();
  deliverStep();
}

void StrictReplay::deliverStep() {
  ++steps_;
  OpenStep& step = open_.emplace_back();
  step.line = {reader_.number(), std::string(reader_.text())};
  step.delivered.add(line_);
  const Line delivered = step.delivered.front();
  model_.beginStep(delivered);
  nextOutput();
  takeInputs();
  deliver_(delivered);
}

void StrictReplay::playNested() {
  deliverStep();
  if (running_ && !std::holds_alternative<EndLine>(line_)) differ(textOf(EndLine{}));
  if (!running_) return;
  open_.pop_back();
  nextOutput();
}

void StrictReplay::traced(const TraceLine& output) {
  if (!compare(output)) return;
  nextOutput();
  takeInputs();
}

Answer StrictReplay::performed(const OperationLine& output) {
  if (!compare(output)) return {};
  nextOutput();
  while (running_ && isStep(line_) && !isTopStep(line_)) playNested();
  return takeAnswer(output);
}

Answer StrictReplay::takeAnswer(const OperationLine& call) {
  if (!running_) return {};
  std::optional<Answer> answer = answerIn(line_, call);
  if (!answer) return {};
  readLine();
  return *std::move(answer);
}

void StrictReplay::returned(const Value& result) {
  if (!compare(ResultLine{&result})) return;
  nextOutput();
  takeInputs();
}

void StrictReplay::failed(const Failure& failure) {
  if (!compare(FailureLine{failure.number(), failure.what()})) return;
  nextOutput();
  takeInputs();
}

std::string StrictReplay::hostOf(std::int32_t handle) const {
  for (auto open = open_.rbegin(); open != open_.rend(); ++open) {
    const std::string_view host = hostIn(open->delivered.front(), handle);
    if (!host.empty()) return std::string(host);
  }
  return "";
}

}  // namespace quarnex::recording
