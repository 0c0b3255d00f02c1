#include "platform/simulated/connection.h"

#include <algorithm>
#include <utility>

namespace quarnex::simulated {
namespace {

constexpr std::size_t kKeptBytes = 65'536;
constexpr Milliseconds kDrainPause = 50;  // between two portions that the system takes

}  // namespace

std::size_t Stream::take(std::string& into, std::size_t max, Milliseconds now) {
  const std::size_t count = std::min(arrived(now), max);
  into.append(bytes_, taken_, count);
  remove(count);
  return count;
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

// Moves the rest to the front only if it is smaller than the part that is gone, so each byte moves once.
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

void End::setOwner(NetworkUser& owner, bool wantsArrivals) {
  owner_ = &owner;
  wantsArrivals_ = wantsArrivals;
  if (inbound_.hasEnd() || (wantsArrivals && inbound_.size() > 0)) lookAt(time_.now());
}

void End::take(std::string& into, std::size_t max) {
  const bool roomMade = inbound_.take(into, max, time_.now()) > 0;
  if (roomMade && !other_.outbox_.empty() && !other_.draining_) other_.drain();
}

void End::send(std::string_view bytes) {
  if (closed_) return;
  if (other_.inbound_.hasEnd()) return resetAt(arrivalTime(0));
  if (!tamper) return submit(bytes, 0);
  for (const Piece& piece : tamper(bytes)) {
    submit(piece.bytes, piece.delay);
    if (piece.ending != Piece::Ending::None)
      return cut(piece.ending == Piece::Ending::Orderly ? std::int16_t{0} : kConnectionReset);
  }
}

// Passes to the system what it takes now; the rest waits in the outbox.
void End::submit(std::string_view bytes, Milliseconds extraDelay) {
  const std::size_t taken = outbox_.empty() ? std::min(bytes.size(), room()) : 0;
  transmit(bytes.substr(0, taken), extraDelay);
  outbox_ += bytes.substr(taken);
  scheduleDrain();
}

void End::drain() {
  draining_ = false;
  if (closed_ || other_.inbound_.hasEnd()) return dropOutbox();
  const std::size_t taken = std::min(unsent(), room());
  transmit(std::string_view(outbox_).substr(outboxSent_, taken), 0);
  outboxSent_ += taken;
  if (outboxSent_ == outbox_.size()) dropOutbox();
  scheduleDrain();
}

void End::dropOutbox() {
  std::string().swap(outbox_);
  outboxSent_ = 0;
}

// A full window opens when the receiver takes bytes. Only a system that takes few at once is asked again.
void End::scheduleDrain() {
  if (outbox_.empty() || conditions.takenAtOnce == 0 || draining_) return;
  draining_ = true;
  time_.at(time_.now() + kDrainPause, [self = connection_.shared_from_this(), this] { drain(); });
}

std::size_t End::room() const {
  const std::size_t used = std::min(other_.inbound_.size(), conditions.window);
  const std::size_t room = conditions.window - used;
  return conditions.takenAtOnce == 0 ? room : std::min(room, conditions.takenAtOnce);
}

void End::transmit(std::string_view bytes, Milliseconds extraDelay) {
  while (!bytes.empty()) {
    const std::size_t size =
        conditions.fragmentMax == 0
            ? bytes.size()
            : std::min<std::size_t>(bytes.size(), 1 + random_.below(conditions.fragmentMax));
    other_.inbound_.append(bytes.substr(0, size), arrivalTime(extraDelay));
    bytes.remove_prefix(size);
    if (other_.wantsArrivals_ || other_.closed_) other_.lookAt(other_.inbound_.lastArrival());
  }
}

void End::cut(std::int16_t code) {
  other_.inbound_.end(arrivalTime(0), code);
  other_.lookAt(other_.inbound_.lastArrival());
}

// Bytes still on their way find a closed end when they arrive; their sender then receives a reset.
void End::leave(std::int16_t code) {
  if (closed_) return;
  const bool wasBroken = broken();
  closed_ = true;
  owner_ = nullptr;
  dropOutbox();
  inbound_.dropArrived(time_.now());
  if (inbound_.size() > 0) lookAt(inbound_.lastArrival());
  if (!wasBroken) cut(code);
}

Milliseconds End::arrivalTime(Milliseconds extraDelay) {
  const Milliseconds jitter = conditions.jitter == 0 ? 0 : random_.between(0, conditions.jitter);
  const Milliseconds arrival = time_.now() + conditions.delay + jitter + extraDelay;
  if (conditions.quantum <= 1) return arrival;
  return (arrival + conditions.quantum - 1) / conditions.quantum * conditions.quantum;
}

void End::lookAt(Milliseconds when) {
  time_.at(when, [self = connection_.shared_from_this(), this] { look(); });
}

// Reports to the owner everything that has arrived by now.
void End::look() {
  if (closed_) return resetForUnwantedBytes();
  if (owner_ == nullptr) return;
  const auto ending = inbound_.endArrived(time_.now());
  if (ending.value_or(0) != 0) return std::exchange(owner_, nullptr)->onEnd(*ending);
  if (wantsArrivals_ && arrived() > 0) owner_->onArrival();
  if (owner_ == nullptr || !ending || endReported_) return;
  endReported_ = true;
  owner_->onEnd(0);
}

// For bytes sent after an end that the network made up: a closed end that they reach answers with a reset.
void End::resetAt(Milliseconds when) {
  time_.at(when, [self = connection_.shared_from_this(), this] {
    if (other_.closed_ && !other_.inbound_.held() && !closed_) other_.cut(kConnectionReset);
  });
}

void End::resetForUnwantedBytes() {
  if (arrived() == 0) return;
  inbound_.dropArrived(time_.now());
  if (!other_.closed_) cut(kConnectionReset);
}

}  // namespace quarnex::simulated
