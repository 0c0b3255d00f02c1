#include "recording/shrinker/loose_course.h"

#include <algorithm>
#include <utility>

namespace quarnex::recording {
void LooseCourse::play(std::span<const Line> lines, std::int64_t shift) {
  lines_ = lines;
  next_ = 0;
  end_ = lines.size();
  shift_ = shift;
  deliver();
}

// Delivers the step at `next_`, up to `end_`.
void LooseCourse::deliver() {
  const Line& step = lines_[next_++];
  open_.push_back(&step);
  if (step.kind == LineKind::Event) model_.happened(step);
  setClock(step);
  model_.letSucceed();
  takeInputs();
  deliver_(step);
  advance(end_);
  model_.letSucceed();
  open_.pop_back();
}

void LooseCourse::traced(const Traced& output) {
  model_.letSucceed();
  const std::size_t found = find([&](const Line& line) { return matches(line, output); });
  if (found == end_) return;
  advance(found + 1);
  takeInputs();
}

Answer LooseCourse::performed(const Performed& output) {
  model_.letSucceed();
  const std::size_t found = find([&](const Line& line) {
    return line.kind == LineKind::Performed && line.operation == output.operation &&
           line.socket == output.socket;
  });
  if (found == end_) return {};
  advance(found + 1);
  while (next_ < end_ && lines_[next_].isStep()) {
    const std::size_t endBefore = std::exchange(end_, behindNested(next_) - 1);
    deliver();
    next_ = std::min(end_ + 1, endBefore);
    end_ = endBefore;
  }
  if (next_ == end_ || lines_[next_].operation != output.operation) return {};
  const Line& line = lines_[next_];
  Answer answer;
  if (line.kind == LineKind::FailedOperation) answer.failure.emplace(line.number, line.text);
  if (line.kind == LineKind::Fetched) answer.fetched = line.text;
  return answer;
}

void LooseCourse::takeInputs() {
  for (; next_ < end_; ++next_) {
    const Line& line = lines_[next_];
    if (line.kind == LineKind::FailedRead) {
      model_.letFail(Line(line));
    } else if (line.kind == LineKind::Property || line.kind == LineKind::Now) {
      takeFact(line);
    } else if (line.kind != LineKind::FailedOperation && line.kind != LineKind::Fetched) {
      return;
    }
  }
}

bool LooseCourse::nextIsFetch(SocketId socket) const {
  const std::size_t found =
      find([&](const Line& line) { return line.kind == LineKind::Performed && line.socket == socket; });
  return found != end_ && lines_[found].operation == Operation::Fetch;
}

std::string LooseCourse::hostOf(std::int32_t handle) const {
  for (auto step = open_.rbegin(); step != open_.rend(); ++step) {
    if ((*step)->handle == handle && !(*step)->text.empty()) return (*step)->text;
  }
  return "";
}

template <class Wanted>
std::size_t LooseCourse::find(Wanted&& wanted) const {
  std::size_t at = next_;
  while (at < end_ && !wanted(lines_[at])) at = lines_[at].isStep() ? behindNested(at) : at + 1;
  return std::min(at, end_);
}

void LooseCourse::advance(std::size_t to) {
  while (next_ < to) {
    takeFact(lines_[next_]);
    next_ = lines_[next_].isStep() ? std::min(behindNested(next_), to) : next_ + 1;
  }
}

void LooseCourse::takeFact(const Line& line) {
  if (line.kind == LineKind::Property) model_.setProperty(line);
  if (line.kind == LineKind::Now) setClock(line);
}

void LooseCourse::setClock(const Line& line) {
  model_.setClock(line);
  model_.now.second += shift_;
}

std::size_t LooseCourse::behindNested(std::size_t at) const {
  int depth = 0;
  for (; at < lines_.size(); ++at) {
    if (lines_[at].isStep()) ++depth;
    if (lines_[at].kind == LineKind::End && --depth == 0) return at + 1;
  }
  return at + 1;  // the recording ends inside: as if the end stood behind its last line
}

}  // namespace quarnex::recording
