#include "recording/recorder/recorded_socket.h"

namespace quarnex::recording {

// A failed operation leaves the model as it was: it is not caught for that, which would cost more than the
// rest.
template <class Field>
class RecordedSocket::Change {
 public:
  Change(Field& field, Field value) : field_(field), before_(std::exchange(field, std::move(value))) {}
  ~Change() {
    if (!holds_) field_ = std::move(before_);
  }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  void hold() { holds_ = true; }

 private:
  Field& field_;
  Field before_;
  bool holds_ = false;
};

template <class Field, class Operate>
void RecordedSocket::change(Operation operation, Field& field, Field value, Operate&& operate,
                            Operand argument) {
  Change<Field> change(field, std::move(value));
  perform(operation, operate, argument);
  change.hold();
}

std::int32_t RecordedSocket::state() {
  return tape_.read(state_, Operation::State, id_, model_.status.state, [&] { return inner_->state(); });
}

std::string RecordedSocket::statusText() {
  return tape_.read(statusText_, Operation::StatusText, id_, model_.status.text,
                    [&] { return inner_->statusText(); });
}

std::int32_t RecordedSocket::localPort() {
  return tape_.read(localPort_, Operation::LocalPort, id_, model_.localPort,
                    [&] { return inner_->localPort(); });
}

void RecordedSocket::setLocalPort(std::int32_t port) {
  change(
      Operation::SetLocalPort, model_.localPort, port, [&] { inner_->setLocalPort(port); }, port);
}

std::int32_t RecordedSocket::remotePort() {
  return tape_.read(remotePort_, Operation::RemotePort, id_, model_.remotePort,
                    [&] { return inner_->remotePort(); });
}

void RecordedSocket::setRemotePort(std::int32_t port) {
  change(
      Operation::SetRemotePort, model_.remotePort, port, [&] { inner_->setRemotePort(port); }, port);
}

void RecordedSocket::setLocalAddress(std::string_view dotted) {
  perform(
      Operation::SetLocalAddress, [&] { inner_->setLocalAddress(dotted); }, dotted);
}

std::string RecordedSocket::remoteHost() {
  return tape_.read(remoteHost_, Operation::RemoteHost, id_, model_.remoteHost,
                    [&] { return inner_->remoteHost(); });
}

void RecordedSocket::setRemoteHost(std::string_view dotted) {
  change(
      Operation::SetRemoteHost, model_.remoteHost, std::string(dotted),
      [&] { inner_->setRemoteHost(dotted); }, dotted);
}

void RecordedSocket::close() {
  change(Operation::Close, model_.status, statusOf(kSocketClosed), [&] { inner_->close(); });
}

void RecordedSocket::prepareA() {
  perform(Operation::PrepareA, [&] { inner_->prepareA(); });
}

void RecordedSocket::prepareB() {
  perform(Operation::PrepareB, [&] { inner_->prepareB(); });
}

void RecordedSocket::connect() {
  change(Operation::Connect, model_.status, statusOf(kSocketCalling), [&] { inner_->connect(); });
}

void RecordedSocket::listen() {
  change(Operation::Listen, model_.status, statusOf(kSocketListening), [&] { inner_->listen(); });
}

void RecordedSocket::attach(std::int32_t handle) {
  Change<std::string> forgotten(model_.remoteHost, "");
  change(
      Operation::Attach, model_.status, statusOf(kSocketConnected), [&] { inner_->attach(handle); }, handle);
  forgotten.hold();
}

// The engine fetches whenever something waits, and a player concludes from the fetch that something did: so
// the number is not written down, and only whether there is one is passed on.
std::int32_t RecordedSocket::bytesWaiting() {
  std::int32_t asPlayed = 0;
  const auto ask = [&] { return asPlayed = inner_->bytesWaiting() >= 1 ? 1 : 0; };
  return tape_.read(bytesWaiting_, Operation::BytesWaiting, id_, asPlayed, ask);
}

void RecordedSocket::fetch() {
  receivedAsPlayed_ = {};
  perform(Operation::Fetch, [&] { inner_->fetch(); });
  try {
    tape_.fetched(id_, tape_.read(received_, Operation::ReceivedText, id_, receivedAsPlayed_,
                                  [&] { return receivedAsPlayed_ = inner_->receivedText(); }));
  } catch (const Failure&) {
    // What could not be read fails for the engine when it reads it.
  }
}

std::string_view RecordedSocket::receivedText() {
  return tape_.read(received_, Operation::ReceivedText, id_, receivedAsPlayed_,
                    [&] { return inner_->receivedText(); });
}

void RecordedSocket::send(std::string_view bytes) {
  perform(
      Operation::Send, [&] { inner_->send(bytes); }, bytes);
}

}  // namespace quarnex::recording
