#include "recording/shrinker/reproduction.h"

#include <algorithm>
#include <utility>

namespace quarnex::recording {

const std::string& Reproduction::replay(const RecordedStep& step) {
  recorded_->clear();
  lines_ = step.lines.get();
  next_ = 0;
  end_ = lines_->size();
  model_.shift = step.shift;
  deliver();
  return recorded_->text();
}

void Reproduction::deliver() {
  engine_.deliver(line(next_++));
  advance(end_);
}

void Reproduction::take(const Line& output) {
  const std::size_t found = find([&](const Line& line) { return isEqual(line, output); });
  if (found != end_) advance(found + 1);
}

Answer Reproduction::perform(const OperationLine& output) {
  const std::size_t found = find([&](const Line& line) {
    const auto* performed = std::get_if<OperationLine>(&line);
    return performed != nullptr && performed->operation == output.operation &&
           performed->socket == output.socket;
  });
  if (found == end_) return {};
  advance(found + 1);
  while (next_ < end_ && isStep(line(next_))) {
    const std::size_t endBefore = std::exchange(end_, behindNested(next_) - 1);
    deliver();
    next_ = std::min(end_ + 1, endBefore);
    end_ = endBefore;
  }
  return next_ == end_ ? Answer{} : answerIn(line(next_), output).value_or(Answer{});
}

void Reproduction::takeInputs() {
  const auto isAnswer = [](const Line& line) {
    return std::holds_alternative<FailedLine>(line) || std::holds_alternative<FetchedLine>(line);
  };
  while (next_ < end_ && (model_.takeInput(line(next_)) || isAnswer(line(next_)))) ++next_;
}

bool Reproduction::nextIsFetch(SocketId socket) const {
  const std::size_t found = find([&](const Line& line) {
    const auto* performed = std::get_if<OperationLine>(&line);
    return performed != nullptr && performed->socket == socket;
  });
  return found != end_ && std::get<OperationLine>(line(found)).operation == Operation::Fetch;
}

template <class Wanted>
std::size_t Reproduction::find(const Wanted& wanted) const {
  std::size_t at = next_;
  while (at < end_ && !wanted(line(at))) at = isStep(line(at)) ? behindNested(at) : at + 1;
  return std::min(at, end_);
}

void Reproduction::advance(std::size_t to) {
  while (next_ < to) {
    const Line& passed = line(next_);
    if (!std::holds_alternative<FailedLine>(passed)) model_.takeInput(passed);
    next_ = isStep(passed) ? std::min(behindNested(next_), to) : next_ + 1;
  }
}

std::size_t Reproduction::behindNested(std::size_t at) const {
  int depth = 0;
  for (; at < lines_->size(); ++at) {
    if (isStep(line(at))) ++depth;
    if (std::holds_alternative<EndLine>(line(at)) && --depth == 0) return at + 1;
  }
  return at + 1;  // the recording ends inside the step
}

}  // namespace quarnex::recording
