#include "platform/simulated/simulated_socket.h"

#include <utility>

#include "quarnex/failure.h"

namespace quarnex::simulated {
namespace {

Failure addressNotAvailable() {
  return Failure(10049, "Cannot assign requested address");
}

Failure notConnected() {
  return Failure(10057, "Socket is not connected");
}

void requirePort(std::int32_t port) {
  if (port < 1 || port > kPortMax) throw addressNotAvailable();
}

int requireMachine(std::string_view dotted, int viewer) {
  const auto machine = machineAt(dotted, viewer);
  if (!machine) throw addressNotAvailable();
  return *machine;
}

}  // namespace

SimulatedSocket::SimulatedSocket(SimulatedSockets& service, SocketArray array, std::int16_t index,
                                 SocketEvents& events)
    : service_(service), events_(events), array_(array), index_(index) {}

SimulatedSocket::~SimulatedSocket() {
  endUse();
  service_.forget(*this);
}

void SimulatedSocket::connect() {
  requireIdle();
  requirePort(remotePort_);
  const int machine = requireMachine(remoteHost_, service_.machine_);
  service_.requireDescriptor();
  beginUse(kSocketCalling);
  call_ = service_.network_.call({service_.machine_, 0}, {machine, remotePort_}, *this);
}

void SimulatedSocket::listen() {
  if (state_ == kSocketListening) return;
  requireIdle();
  requirePort(localPort_);
  if (!localAddress_.empty()) requireMachine(localAddress_, service_.machine_);
  service_.requireDescriptor();
  service_.network_.listen({service_.machine_, localPort_}, *this);
  listeningPort_ = localPort_;
  beginUse(kSocketListening);
}

void SimulatedSocket::attach(std::int32_t handle) {
  std::shared_ptr<End> end = service_.takeOffered(handle);
  endUse();
  beginUse(kSocketConnected);
  remoteHost_ = end->peerAddress();
  carry(std::move(end));
}

void SimulatedSocket::fetch() {
  if (end_ == nullptr) throw notConnected();
  service_.receivedBy_ = this;
  service_.received_.clear();
  end_->take(service_.received_, kFetchBytesMax);
  if (end_->exhausted()) post(EventKind::Close, 0);
}

std::string_view SimulatedSocket::receivedText() {
  return service_.receivedBy_ == this ? std::string_view(service_.received_) : std::string_view();
}

void SimulatedSocket::send(std::string_view bytes) {
  if (end_ == nullptr) throw notConnected();
  end_->send(bytes);
}

void SimulatedSocket::onCaller(std::shared_ptr<End> end) {
  post(EventKind::Accept, 0, std::move(end));
}

void SimulatedSocket::onConnected(std::shared_ptr<End> end) {
  call_ = nullptr;
  post(EventKind::Connect, 0, std::move(end));
}

void SimulatedSocket::onCallFailed(std::int16_t code) {
  call_ = nullptr;
  post(EventKind::Connect, code);
}

// The close is told when nothing of what came before it is left; the fetch that takes the rest sees to that.
void SimulatedSocket::onEnd() {
  if (end_->exhausted()) post(EventKind::Close, 0);
}

void SimulatedSocket::onBroken(std::int16_t code) {
  post(EventKind::Close, code);
}

void SimulatedSocket::post(EventKind kind, std::int16_t code, std::shared_ptr<End> end) {
  service_.post({this, use_, kind, code, std::move(end)});
}

void SimulatedSocket::beginUse(SocketState state) {
  ++use_;
  ++service_.descriptors_;
  state_ = state;
}

void SimulatedSocket::carry(std::shared_ptr<End> end) {
  state_ = kSocketConnected;
  end_ = std::move(end);
  end_->setOwner(*this);
}

void SimulatedSocket::endUse() {
  if (state_ == kSocketClosed) return;
  ++use_;
  --service_.descriptors_;
  if (state_ == kSocketListening) service_.network_.leave({service_.machine_, listeningPort_}, *this);
  if (call_) Network::cancel(*std::exchange(call_, nullptr));
  if (end_) std::exchange(end_, nullptr)->close();
  state_ = kSocketClosed;
}

void SimulatedSocket::requireIdle() const {
  if (state_ == kSocketConnected) throw Failure(10056, "Socket is already connected");
  if (state_ != kSocketClosed) throw Failure(10022, "Invalid argument");
}

}  // namespace quarnex::simulated
