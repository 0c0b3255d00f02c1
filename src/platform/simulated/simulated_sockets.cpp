#include "platform/simulated/simulated_sockets.h"

#include <algorithm>
#include <utility>

#include "platform/simulated/simulated_socket.h"
#include "quarnex/failure.h"

namespace quarnex::simulated {
namespace {

constexpr std::int16_t kTooManyDescriptors = 10024;
constexpr Milliseconds kAcceptPause = 200;  // before a caller is tried again for whom there was no descriptor

bool endsUse(EventKind kind, std::int16_t code) {
  return kind == EventKind::Close || (kind == EventKind::Connect && code != 0);
}

}  // namespace

SimulatedSockets::~SimulatedSockets() {
  loop_.time().cancel(delivery_);
  for (const Event& event : pending_) drop(event);
}

std::unique_ptr<SocketInstance> SimulatedSockets::create(SocketArray array, std::int16_t index,
                                                         SocketEvents& events) {
  return make(array, index, events);
}

std::unique_ptr<SimulatedSocket> SimulatedSockets::make(SocketArray array, std::int16_t index,
                                                        SocketEvents& events) {
  auto instance = std::make_unique<SimulatedSocket>(*this, array, index, events);
  instances_[{array, index}] = instance.get();
  return instance;
}

void SimulatedSockets::deliverPending() {
  while (auto event = takeNext()) deliver(std::move(*event));
  schedule();
}

bool SimulatedSockets::raise(SocketArray array, std::int16_t index, EventKind kind, std::int16_t code) {
  const auto found = instances_.find({array, index});
  if (found == instances_.end()) return false;
  SimulatedSocket& instance = *found->second;
  if (endsUse(kind, code)) instance.endUse();
  quarnex::deliver({kind, {array, index}, code}, instance.events_);
  return true;
}

int SimulatedSockets::inUse() const {
  const auto used = std::ranges::count_if(
      instances_, [](const auto& named) { return named.second->state_ != kSocketClosed; });
  return static_cast<int>(used + std::ssize(offered_));
}

End* SimulatedSockets::end(SocketArray array, std::int16_t index) {
  const auto found = instances_.find({array, index});
  return found == instances_.end() ? nullptr : found->second->end_.get();
}

// Never due before what waits for the same instance, which keeps its order: a delivery would find nothing
// ready. What that instance was told already was due by now.
void SimulatedSockets::post(Event event) {
  event.due = std::max(event.due, loop_.time().now());
  if (disorder.lateMax > 0) {
    lastDue_ = std::max(lastDue_, event.due + random_.between(0, disorder.lateMax));
    event.due = lastDue_;
  }
  event.due = event.instance->lastDue_ = std::max(event.due, event.instance->lastDue_);
  if (earliest_) earliest_ = std::min(*earliest_, event.due);
  pending_.push_back(std::move(event));
  schedule();
}

// The next turn of the loop at which something is due. While a host stalls for days, tens of thousands of
// events come and none goes: they are not all looked at for each.
void SimulatedSockets::schedule() {
  loop_.time().cancel(delivery_);
  if (pending_.empty()) return;
  if (!earliest_) earliest_ = std::ranges::min_element(pending_, {}, &Event::due)->due;
  delivery_ =
      loop_.time().at(loop_.turnAt(*earliest_), [this] { loop_.stalled() ? schedule() : deliverPending(); });
}

std::optional<SimulatedSockets::Event> SimulatedSockets::takeNext() {
  std::vector<std::size_t> ready;
  for (std::size_t i = 0; i < pending_.size() && (ready.empty() || disorder.shuffled); ++i) {
    if (isReady(i)) ready.push_back(i);
  }
  if (ready.empty()) return std::nullopt;
  const std::size_t chosen =
      ready[disorder.shuffled ? random_.below(static_cast<std::uint32_t>(ready.size())) : 0];
  const auto position = pending_.begin() + static_cast<std::ptrdiff_t>(chosen);
  Event event = std::move(*position);
  pending_.erase(position);
  earliest_.reset();
  if (event.kind == EventKind::Accept && !event.hollow) event.handle = ++lastHandle_;
  if (random_.chance(disorder.twice)) {
    Event again{event.instance, event.use, event.kind, event.code, nullptr, event.due, true, event.handle};
    pending_.push_front(std::move(again));
  }
  return event;
}

// Due, and the first of its instance: the events of one instance keep their order.
bool SimulatedSockets::isReady(std::size_t position) const {
  const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(position);
  return end->due <= loop_.time().now() && std::none_of(pending_.begin(), end, [&](const Event& earlier) {
           return earlier.instance == end->instance;
         });
}

// Handlers may end the use and even destroy the instance, so it is not looked at after it was told.
void SimulatedSockets::deliver(Event event) {
  SimulatedSocket& instance = *event.instance;
  if (instance.use_ != event.use && !event.hollow) {
    drop(event);
    if (!random_.chance(disorder.stale)) return;
    event.hollow = true;
  }
  if (event.kind == EventKind::Accept && !event.hollow) return deliverCaller(std::move(event));
  if (!event.hollow && event.end) instance.carry(std::move(event.end));
  if (!event.hollow && endsUse(event.kind, event.code)) instance.endUse();
  quarnex::deliver({event.kind, {instance.array_, instance.index_}, event.code, event.handle},
                   instance.events_);
}

// A caller that has vanished raises nothing. One for whom there is no descriptor stays where it is.
void SimulatedSockets::deliverCaller(Event event) {
  if (event.end->broken()) return event.end->close();
  SimulatedSocket& instance = *event.instance;
  if (descriptors_ >= descriptorsMax) {
    event.due = loop_.time().now() + kAcceptPause;
    post(std::move(event));
    return instance.events_.onAccept(instance.array_, instance.index_, 0, kTooManyDescriptors);
  }
  offered_.emplace(event.handle, std::move(event.end));
  instance.events_.onAccept(instance.array_, instance.index_, event.handle, 0);
  const auto left = offered_.extract(event.handle);
  if (!left.empty()) left.mapped()->abandon();
}

// A call that has been answered is hung up; a caller that waits to be accepted meets a reset.
void SimulatedSockets::drop(const Event& event) {
  if (!event.end) return;
  event.kind == EventKind::Connect ? event.end->close() : event.end->reset();
}

std::shared_ptr<End> SimulatedSockets::takeOffered(std::int32_t handle) {
  auto offered = offered_.extract(handle);
  if (offered.empty()) throw Failure(10038, "Socket operation on non-socket");
  return std::move(offered.mapped());
}

void SimulatedSockets::requireDescriptor() const {
  if (descriptors_ >= descriptorsMax) throw Failure(kTooManyDescriptors, "Too many open files");
}

void SimulatedSockets::forget(SimulatedSocket& instance) {
  const auto found = instances_.find({instance.array_, instance.index_});
  if (found != instances_.end() && found->second == &instance) instances_.erase(found);
  if (receivedBy_ == &instance) receivedBy_ = nullptr;
  earliest_.reset();
  std::erase_if(pending_, [&](const Event& event) {
    if (event.instance == &instance) drop(event);
    return event.instance == &instance;
  });
}

}  // namespace quarnex::simulated
