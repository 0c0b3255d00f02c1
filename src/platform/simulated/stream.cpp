#include "platform/simulated/stream.h"

#include <algorithm>

namespace quarnex::simulated {
namespace {

constexpr std::size_t kKeptBytes = 65'536;

}  // namespace

void Stream::append(std::string_view bytes, Milliseconds arrival) {
  bytes_ += bytes;
  lastArrival_ = std::max(lastArrival_, arrival);
  marks_.push_back({bytes_.size(), lastArrival_});
}

void Stream::end(Milliseconds arrival, std::int16_t code) {
  if (ending_) return;
  lastArrival_ = std::max(lastArrival_, arrival);
  ending_ = Ending{lastArrival_, code};
}

std::size_t Stream::take(std::string& into, std::size_t max, Milliseconds now) {
  const std::size_t count = std::min(arrived(now), max);
  into.append(bytes_, taken_, count);
  remove(count);
  return count;
}

void Stream::dropArrived(Milliseconds now) {
  remove(arrived(now));
}

std::optional<std::int16_t> Stream::endArrived(Milliseconds now) const {
  if (!ending_ || held_ || ending_->arrival > now) return std::nullopt;
  return ending_->code;
}

void Stream::hurry(Milliseconds now) {
  for (Mark& mark : marks_) mark.arrival = std::min(mark.arrival, now);
  if (ending_) ending_->arrival = std::min(ending_->arrival, now);
  lastArrival_ = std::min(lastArrival_, now);
}

std::size_t Stream::countArrived(Milliseconds now) {
  if (!held_) {
    while (nextMark_ < marks_.size() && marks_[nextMark_].arrival <= now) arrived_ = marks_[nextMark_++].end;
  }
  return arrived_ - taken_;
}

// Moves what is left to the front only when that is less than what is gone, so that each byte moves once at
// most.
void Stream::remove(std::size_t count) {
  taken_ += count;
  if (taken_ < bytes_.size() && (taken_ < kKeptBytes || taken_ < bytes_.size() - taken_)) return;
  bytes_.erase(0, taken_);
  if (bytes_.empty() && bytes_.capacity() > kKeptBytes) bytes_.shrink_to_fit();
  marks_.erase(marks_.begin(), marks_.begin() + static_cast<std::ptrdiff_t>(nextMark_));
  for (Mark& mark : marks_) mark.end -= taken_;
  nextMark_ = 0;
  arrived_ -= taken_;
  taken_ = 0;
}

}  // namespace quarnex::simulated
