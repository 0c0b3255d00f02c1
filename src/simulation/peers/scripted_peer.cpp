#include "simulation/peers/scripted_peer.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quarnex::simulation {

ScriptedPeer::~ScriptedPeer() {
  stopListening();
  close();
}

void ScriptedPeer::listen(std::int32_t port) {
  network_.listen({machine_, port}, *this);
  listeningPort_ = port;
}

// A task may keep a peer that has left longer than the network exists.
void ScriptedPeer::stopListening() {
  if (listeningPort_ != 0) network_.leave({machine_, std::exchange(listeningPort_, 0)}, *this);
}

void ScriptedPeer::call(std::int32_t port) {
  close();
  call_ = network_.call({machine_, 0}, {machine_, port}, *this);
}

void ScriptedPeer::send(std::string_view sent) {
  if (end_) end_->send(sent);
}

void ScriptedPeer::sendMessage(int identifier, const std::vector<std::string>& fields) {
  send(wire::frame(wire::message(identifier, fields)));
}

void ScriptedPeer::close() {
  if (call_) Network::cancel(*std::exchange(call_, nullptr));
  if (end_) std::exchange(end_, nullptr)->abandon();
}

void ScriptedPeer::reset() {
  if (end_) std::exchange(end_, nullptr)->reset();
}

void ScriptedPeer::setReading(bool reading) {
  reading_ = reading;
  read();
}

void ScriptedPeer::answerAsLink(int identifier) {
  onFrame = [this, identifier](const Received& received) {
    const std::vector<std::string> fields = wire::fieldsOf(received.frame.message);
    const auto holds = [&](const char* word) {
      return std::find(fields.begin(), fields.end(), word) != fields.end();
    };
    if (holds("9CMD")) sendMessage(identifier, {"9ACK", "9."});
    if (holds("9QRY")) sendMessage(identifier, {"9NODATA", "9."});
  };
}

void ScriptedPeer::onCaller(std::shared_ptr<End> end) {
  close();
  carry(std::move(end));
}

void ScriptedPeer::onConnected(std::shared_ptr<End> end) {
  call_ = nullptr;
  carry(std::move(end));
}

void ScriptedPeer::onCallFailed(std::int16_t code) {
  call_ = nullptr;
  ending_ = code;
}

void ScriptedPeer::onBroken(std::int16_t code) {
  std::exchange(end_, nullptr)->close();
  ending_ = code;
}

void ScriptedPeer::carry(std::shared_ptr<End> end) {
  end_ = std::move(end);
  splitter_ = {};
  ++connections_;
  ending_ = -1;
  end_->setOwner(*this, true);
  if (onConnect) onConnect();
}

void ScriptedPeer::read() {
  if (!reading_ || !end_ || end_->arrived() == 0) return;
  const std::size_t before = bytes.size();
  end_->take(bytes, std::numeric_limits<std::size_t>::max());
  for (wire::Frame& frame : splitter_.feed(std::string_view(bytes).substr(before))) {
    frames.push_back({network_.time().now(), std::move(frame)});
    if (onFrame) onFrame(Received(frames.back()));
  }
  leaveIfDone();
}

void ScriptedPeer::leaveIfDone() {
  if (!end_ || !end_->exhausted()) return;
  std::exchange(end_, nullptr)->close();
  ending_ = 0;
}

}  // namespace quarnex::simulation
