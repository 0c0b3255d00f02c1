#include "recording/player/script.h"

#include <algorithm>
#include <utility>

namespace quarnex::recording {

Script::Script(RecordingReader& reader, PlainModel& model, Deliver deliver)
    : reader_(reader), model_(model), deliver_(std::move(deliver)) {
  readLine();
  takeInputs();
}

void Script::readLine() {
  NumberedLine& left = before_[reader_.number() % kLinesBefore];
  left.number = reader_.number();
  left.text = reader_.text();
  try {
    playing_ = reader_.next(line_);
    if (playing_ && line_.kind == LineKind::Missing) throw damageOf(line_, reader_.number());
  } catch (const DamagedLine& damage) {
    damage_ = damage;
    playing_ = false;
  }
}

// The line was an output, or the beginning or end of a step: what reads were to fail until then succeeds
// again.
void Script::nextOutput() {
  model_.letSucceed();
  readLine();
}

void Script::takeInputs() {
  for (; playing_; readLine()) {
    switch (line_.kind) {
      case LineKind::Property:
        model_.setProperty(line_);
        break;
      case LineKind::FailedRead:
        model_.letFail(std::move(line_));
        break;
      case LineKind::Now:
        model_.setClock(line_);
        break;
      default:
        return;
    }
  }
}

template <class Output>
bool Script::compare(const Output& output) {
  if (playing_ && !matches(line_, output)) differ(lineOf(output));
  return playing_;
}

void Script::differ(std::string actual) {
  Difference& difference = difference_.emplace();
  difference.expected = {reader_.number(), std::string(reader_.text())};
  difference.actual = std::move(actual);
  for (const OpenStep& step : open_) difference.steps.push_back(step.line);
  const std::size_t first = reader_.number() > kLinesBefore ? reader_.number() - kLinesBefore : 1;
  for (std::size_t number = first; number < reader_.number(); ++number) {
    difference.before.push_back(before_[number % kLinesBefore]);
  }
  playing_ = false;
}

void Script::playStep() {
  open_.resize(std::min<std::size_t>(open_.size(), 1));
  if (!line_.isStep() || line_.nested) return differ(std::string(kNothingMore));
  open_.clear();
  deliverStep();
}

void Script::deliverStep() {
  ++steps_;
  OpenStep& step = open_.emplace_back();
  step.line = {reader_.number(), std::string(reader_.text())};
  const Line delivered = std::exchange(line_, Line{});
  if (delivered.kind == LineKind::Event) {
    model_.happened(delivered);
    step.handle = delivered.handle;
    step.remoteHost = delivered.text;
  }
  model_.setClock(delivered);
  nextOutput();
  takeInputs();
  deliver_(delivered);
}

void Script::playNested() {
  deliverStep();
  if (playing_ && line_.kind != LineKind::End) differ("{\"end\":true}");
  if (!playing_) return;
  open_.pop_back();
  nextOutput();
}

void Script::traced(const Traced& output) {
  if (!compare(output)) return;
  nextOutput();
  takeInputs();
}

Answer Script::performed(const Performed& output) {
  if (!compare(output)) return {};
  nextOutput();
  while (playing_ && line_.isStep() && line_.nested) playNested();
  return takeAnswer(output);
}

Answer Script::takeAnswer(const Performed& call) {
  if (!playing_ || line_.operation != call.operation || line_.socket != call.socket) return {};
  Answer answer;
  if (line_.kind == LineKind::FailedOperation) {
    answer.failure.emplace(line_.number, line_.text);
  } else if (line_.kind == LineKind::Fetched) {
    answer.fetched = std::move(line_.text);
  } else {
    return {};
  }
  readLine();
  return answer;
}

void Script::returned(const Value& result) {
  if (!compare(result)) return;
  nextOutput();
  takeInputs();
}

void Script::failed(const Failure& failure) {
  if (!compare(failure)) return;
  nextOutput();
  takeInputs();
}

std::string Script::hostOf(std::int32_t handle) const {
  const auto accepted = std::find_if(open_.rbegin(), open_.rend(), [&](const OpenStep& step) {
    return step.handle == handle && !step.remoteHost.empty();
  });
  return accepted == open_.rend() ? "" : accepted->remoteHost;
}

}  // namespace quarnex::recording
