#include "platform/simulated/simulated_sockets.h"

#include "services/socket_errors.h"

namespace quarnex::simulated {
namespace {

constexpr std::int16_t kTooManyDescriptors = 10024;
constexpr std::int16_t kAddressNotAvailable = 10049;
constexpr Milliseconds kAcceptPause = 200;  // before the next try to accept a caller

bool endsUse(EventKind kind, std::int16_t code) {
  return kind == EventKind::Close || (kind == EventKind::Connect && code != 0);
}

// The address that `dotted` and `port` mean to `viewer`.
Address requireAddress(std::string_view dotted, std::int32_t port, int viewer) {
  const auto machine = machineAt(dotted, viewer);
  if (!machine || port < 1 || port > kPortMax) throw numberedFailure(kAddressNotAvailable);
  return {*machine, port};
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
  if (const auto older = find(array, index); older != instances_.end()) instances_.erase(older);
  instances_.push_back(instance.get());
  return instance;
}

std::vector<SimulatedSocket*>::iterator SimulatedSockets::find(SocketArray array, std::int16_t index) {
  return std::ranges::find_if(instances_,
                              [=](const auto* one) { return one->array_ == array && one->index_ == index; });
}

void SimulatedSockets::deliverPending() {
  while (auto event = takeNext()) deliver(std::move(*event));
  schedule();
}

bool SimulatedSockets::raise(SocketArray array, std::int16_t index, EventKind kind, std::int16_t code) {
  const auto found = find(array, index);
  if (found == instances_.end()) return false;
  SimulatedSocket& instance = **found;
  if (endsUse(kind, code)) instance.endUse();
  quarnex::deliver({kind, {array, index}, code}, instance.events_);
  return true;
}

int SimulatedSockets::inUse() const {
  const auto used =
      std::ranges::count_if(instances_, [](const auto* one) { return one->state_ != kSocketClosed; });
  return static_cast<int>(used + std::ssize(offered_));
}

End* SimulatedSockets::end(SocketArray array, std::int16_t index) {
  const auto found = find(array, index);
  return found == instances_.end() ? nullptr : (*found)->end_.get();
}

// Never due before an event that waits for the same instance or was delivered to it: the events of an
// instance keep their order, so a delivery at that time would find nothing ready.
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

// A caller stays in front of the callers after it.
void SimulatedSockets::postpone(Event event) {
  event.due = loop_.time().now() + kAcceptPause;
  pending_.push_front(std::move(event));
  SimulatedSocket& instance = *pending_.front().instance;
  for (Event& later : pending_) {
    if (later.instance != &instance) continue;
    later.due = std::max(later.due, pending_.front().due);
    instance.lastDue_ = std::max(instance.lastDue_, later.due);
  }
  earliest_.reset();
  schedule();
}

// While a host stalls for days, tens of thousands of events wait: a new one must not cost a search of all.
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
  const std::size_t chosen = ready[disorder.shuffled ? random_.below(ready.size()) : 0];
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

// Handlers may end the use and even destroy the instance, so nothing reads it after the delivery.
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

// A caller that has vanished raises nothing. A caller without a descriptor waits and is tried again, like one
// that calls while the connection before it is read to its end.
void SimulatedSockets::deliverCaller(Event event) {
  if (event.end->broken()) return event.end->close();
  SimulatedSocket& instance = *event.instance;
  if (!instance.callers_.admits(event.end->peerAddress)) return event.end->reset();
  const auto older = find(SocketArray::SrvAccept, instance.index_);
  const bool mayWait = older != instances_.end() && instance.waits_ < kCallersWaitTicksMax;
  if (mayWait && (*older)->isReadToItsEnd()) {
    ++instance.waits_;
    return postpone(std::move(event));
  }
  if (mayWait && (*older)->closeIsDue()) {
    // In front of the callers that may be delivered inside the close event.
    pending_.push_front(std::move(event));
    earliest_.reset();
    return (*older)->raiseClose();
  }
  if (std::ranges::count(pending_, &instance, &Event::instance) == 0) instance.waits_ = 0;
  if (descriptors_ >= descriptorsMax) {
    postpone(std::move(event));
    return instance.events_.onAccept(instance.array_, instance.index_, 0, kTooManyDescriptors);
  }
  offered_.emplace(event.handle, std::move(event.end));
  instance.events_.onAccept(instance.array_, instance.index_, event.handle, 0);
  const auto left = offered_.extract(event.handle);
  if (!left.empty()) left.mapped()->abandon();
}

// Closes a call that was answered; resets a caller that waits to be accepted.
void SimulatedSockets::drop(const Event& event) {
  if (!event.end) return;
  event.kind == EventKind::Connect ? event.end->close() : event.end->reset();
}

void SimulatedSockets::requireDescriptor() const {
  if (descriptors_ >= descriptorsMax) throw numberedFailure(kTooManyDescriptors);
}

void SimulatedSockets::requireRoom(const End& end, std::size_t bytes) const {
  const std::size_t left = end.leftOf(bytes);
  if (left == 0) return;
  std::size_t held = 0;
  for (const SimulatedSocket* instance : instances_) held += instance->unsentBytes();
  output_.require(end.unsent(), left, held);
}

void SimulatedSockets::forget(SimulatedSocket& instance) {
  std::erase(instances_, &instance);
  if (receivedBy_ == &instance) receivedBy_ = nullptr;
  earliest_.reset();
  std::erase_if(pending_, [&](const Event& event) {
    if (event.instance == &instance) drop(event);
    return event.instance == &instance;
  });
}

void SimulatedSocket::connect() {
  requireIdle();
  const Address to = requireAddress(remoteHost_, remotePort_, service_.machine_);
  service_.requireDescriptor();
  beginUse(kSocketCalling);
  call_ = service_.network_.call({service_.machine_, 0}, to, remoteHost_, *this);
}

void SimulatedSocket::listen() {
  if (state_ == kSocketListening) return;
  requireIdle();
  const Address here =
      requireAddress(localAddress_.empty() ? kAnyAddress : localAddress_, localPort_, service_.machine_);
  if (here.machine != service_.machine_ && !listensOnAny()) throw numberedFailure(kAddressNotAvailable);
  service_.requireDescriptor();
  service_.network_.listen({service_.machine_, localPort_}, *this);
  listeningPort_ = localPort_;
  beginUse(kSocketListening);
}

void SimulatedSocket::attach(std::int32_t handle) {
  auto offered = service_.offered_.extract(handle);
  if (offered.empty()) throw numberedFailure(10038);
  endUse();
  beginUse(kSocketConnected);
  remoteHost_ = offered.mapped()->peerAddress;
  carry(std::move(offered.mapped()));
}

void SimulatedSocket::fetch() {
  requireConnected();
  fetched_ = true;
  service_.receivedBy_ = this;
  service_.received_.clear();
  end_->take(service_.received_, kFetchBytesMax);
  if (end_->exhausted()) post(EventKind::Close, 0);
}

// If the peer has ended the connection, its bytes come first, and then its close event. The next caller waits
// as long as some are fetched.
bool SimulatedSocket::isReadToItsEnd() {
  return end_ && end_->ended() == 0 && !end_->exhausted() && std::exchange(fetched_, false);
}

void SimulatedSocket::raiseClose() {
  const std::int16_t code = *end_->ended();
  endUse();
  events_.onClose(array_, index_, code);
}

void SimulatedSocket::endUse() {
  if (state_ == kSocketClosed) return;
  fetched_ = true;
  ++use_;
  --service_.descriptors_;
  if (state_ == kSocketListening) service_.network_.leave({service_.machine_, listeningPort_}, *this);
  if (call_) Network::cancel(*std::exchange(call_, nullptr));
  if (end_) std::exchange(end_, nullptr)->close();
  state_ = kSocketClosed;
}

}  // namespace quarnex::simulated
