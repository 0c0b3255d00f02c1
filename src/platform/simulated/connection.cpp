#include "platform/simulated/connection.h"

#include <algorithm>
#include <utility>

namespace quarnex::simulated {
namespace {

constexpr Milliseconds kDrainPause = 50;  // between two portions that a reluctant system takes

}  // namespace

Connection::Connection(VirtualTime& time, Random random, std::string callerAddress, std::string calledAddress)
    : caller(*this, called, random.split()), called(*this, caller, random.split()), time_(time) {
  caller.peerAddress_ = std::move(calledAddress);
  called.peerAddress_ = std::move(callerAddress);
}

void End::setOwner(EndEvents& owner, bool tellArrivals) {
  owner_ = &owner;
  tellArrivals_ = tellArrivals;
  if (inbound_.hasEnd() || (tellArrivals && inbound_.size() > 0)) lookAt(time().now());
}

void End::take(std::string& into, std::size_t max) {
  const bool roomMade = inbound_.take(into, max, time().now()) > 0;
  if (roomMade && !other_.outbox_.empty() && !other_.draining_) other_.drain();
}

bool End::exhausted() {
  return inbound_.size() == 0 && inbound_.endArrived(time().now()) == 0;
}

bool End::broken() const {
  return inbound_.endArrived(time().now()).value_or(0) != 0;
}

void End::send(std::string_view bytes) {
  if (closed_) return;
  if (other_.inbound_.hasEnd()) return strayAt(arrivalTime(0));
  if (!tamper) return submit(bytes, 0);
  for (const Piece& piece : tamper(bytes)) {
    submit(piece.bytes, piece.delay);
    if (piece.ending != Piece::Ending::None) {
      return sendEnd(piece.ending == Piece::Ending::Orderly ? std::int16_t{0} : kConnectionReset);
    }
  }
}

void End::close() {
  leave(0);
}

void End::hold() {
  other_.inbound_.hold();
}

void End::release() {
  other_.inbound_.release();
  other_.lookAt(time().now());
}

void End::hurry() {
  other_.inbound_.hurry(time().now());
  other_.lookAt(time().now());
}

void End::cut(std::int16_t code) {
  sendEnd(code);
}

// Hands to the system what it takes now; the rest waits in the outbox.
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

// A full window opens when the receiver takes bytes; only a reluctant system is asked again and again.
void End::scheduleDrain() {
  if (outbox_.empty() || conditions.takenAtOnce == 0 || draining_) return;
  draining_ = true;
  time().at(time().now() + kDrainPause, [self = connection_.shared_from_this(), this] { drain(); });
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
    if (other_.tellArrivals_ || other_.closed_) other_.lookAt(other_.inbound_.lastArrival());
  }
}

void End::sendEnd(std::int16_t code) {
  other_.inbound_.end(arrivalTime(0), code);
  other_.lookAt(other_.inbound_.lastArrival());
}

// Bytes still on their way meet a closed end when they arrive; whoever sent them is told then.
void End::leave(std::int16_t code) {
  if (closed_) return;
  const bool wasBroken = broken();
  closed_ = true;
  owner_ = nullptr;
  dropOutbox();
  inbound_.dropArrived(time().now());
  if (inbound_.size() > 0) lookAt(inbound_.lastArrival());
  if (!wasBroken) sendEnd(code);
}

Milliseconds End::arrivalTime(Milliseconds extraDelay) {
  const Milliseconds jitter = conditions.jitter == 0 ? 0 : random_.between(0, conditions.jitter);
  const Milliseconds arrival = time().now() + conditions.delay + jitter + extraDelay;
  if (conditions.quantum <= 1) return arrival;
  return (arrival + conditions.quantum - 1) / conditions.quantum * conditions.quantum;
}

void End::lookAt(Milliseconds when) {
  time().at(when, [self = connection_.shared_from_this(), this] { look(); });
}

// Tells the owner what has arrived by now.
void End::look() {
  if (closed_) return answerStrayBytes();
  if (owner_ == nullptr) return;
  const auto ending = inbound_.endArrived(time().now());
  if (ending.value_or(0) != 0) {
    EndEvents& owner = *std::exchange(owner_, nullptr);
    return owner.onBroken(*ending);
  }
  if (tellArrivals_ && arrived() > 0) owner_->onArrival();
  if (owner_ == nullptr || !ending || endTold_) return;
  endTold_ = true;
  owner_->onEnd();
}

// Bytes behind an end that the network has made up: they arrive, if anything does, where nobody expects them.
void End::strayAt(Milliseconds when) {
  time().at(when, [self = connection_.shared_from_this(), this] {
    if (other_.closed_ && !other_.inbound_.held() && !closed_) other_.sendEnd(kConnectionReset);
  });
}

void End::answerStrayBytes() {
  if (arrived() == 0) return;
  inbound_.dropArrived(time().now());
  if (!other_.closed_) sendEnd(kConnectionReset);
}

}  // namespace quarnex::simulated
