// ScriptedPeer: a peer without an engine that acts as it is told and records received bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/simulated/simulated_network.h"
#include "simulation/peers/wire_format.h"

namespace quarnex::simulation {
using namespace simulated;

/// Listens on a port or calls one, and has one connection at a time: a newer caller replaces the older.
class ScriptedPeer final : private NetworkUser {
 public:
  ScriptedPeer(Network& network, int machine) : network_(network), machine_(machine) {}
  ~ScriptedPeer() override {
    stopListening();
    close();
  }
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  void listen(std::int32_t port) {
    network_.listen({machine_, port}, *this);
    listeningPort_ = port;
  }
  // A task may keep a peer that has left longer than the network exists.
  void stopListening() {
    if (listeningPort_ != 0) network_.leave({machine_, std::exchange(listeningPort_, 0)}, *this);
  }
  /// Calls a port of its own machine.
  void call(std::int32_t port) {
    close();
    call_ = network_.call({machine_, 0}, {machine_, port}, "127.0.0.1", *this);
  }

  bool connected() const { return end_ != nullptr; }
  /// Bytes that it has sent and that the system has not taken yet.
  std::size_t unsent() const { return end_ ? end_->unsent() : 0; }
  /// Number of its connections so far.
  int connections() const { return connections_; }
  /// How the last connection or call ended: -1 = not yet, 0 = in the orderly way, else the number.
  int ending() const { return ending_; }

  /// Sends bytes unchanged, or a message in a frame; drops them while not connected.
  void send(std::string_view text) {
    if (end_) end_->send(text);
  }
  void sendMessage(int identifier, const std::vector<std::string>& fields) {
    send(wire::frame(wire::message(identifier, fields)));
  }
  /// Closes in the orderly way, or with a reset if input is unread, as the system does.
  void close() {
    if (call_) Network::cancel(*std::exchange(call_, nullptr));
    if (end_) std::exchange(end_, nullptr)->abandon();
  }
  void reset() {
    if (end_) std::exchange(end_, nullptr)->reset();
  }
  /// Stops or resumes reading; on resuming it reads everything that has arrived meanwhile.
  void setReading(bool reading) {
    reading_ = reading;
    read();
  }

  std::string bytes;  ///< all bytes that it has read

  /// Called for each frame, on whichever connection, with its bytes from STX to ETX, intact or not.
  std::function<void(const std::string& frame)> onFrame;
  std::function<void()> onConnect;
  /// Answers like a link of that identifier without texts: "9ACK" to data, "9NODATA" to a query.
  void answerAsLink(int identifier) {
    onFrame = [this, identifier](const std::string& frame) {
      if (frame.find("|9CMD|") != frame.npos) sendMessage(identifier, {"9ACK", "9."});
      if (frame.find("|9QRY|") != frame.npos) sendMessage(identifier, {"9NODATA", "9."});
    };
  }
  /// Its end of the connection, where network faults are set; nullptr without a connection.
  End* end() const { return end_.get(); }

 private:
  void onCaller(std::shared_ptr<End> end) override {
    close();
    carry(std::move(end));
  }
  void onOutcome(std::shared_ptr<End> end, std::int16_t code) override {
    call_ = nullptr;
    if (end) return carry(std::move(end));
    ending_ = code;
  }
  void onArrival() override { read(); }
  void onEnd(std::int16_t code) override { code == 0 ? leaveIfDone() : leave(code); }
  void carry(std::shared_ptr<End> end) {
    end_ = std::move(end);
    frame_.clear();
    ++connections_;
    ending_ = -1;
    end_->setOwner(*this, true);
    if (onConnect) onConnect();
  }
  void read() {
    if (!reading_ || !end_ || end_->arrived() == 0) return;
    const std::size_t before = bytes.size();
    end_->take(bytes, std::numeric_limits<std::size_t>::max());
    for (const char byte : std::string_view(bytes).substr(before)) completeFrame(byte);
    leaveIfDone();
  }
  // Bytes between frames are dropped.
  void completeFrame(char byte) {
    if (frame_.empty() && byte != wire::kStart) return;
    frame_ += byte;
    if (byte != wire::kEnd) return;
    const std::string frame = std::exchange(frame_, {});
    if (onFrame) onFrame(frame);
  }
  void leaveIfDone() {
    if (end_ && end_->exhausted()) leave(0);
  }
  void leave(std::int16_t code) {
    std::exchange(end_, nullptr)->close();
    ending_ = code;
  }

  Network& network_;
  int machine_;
  std::int32_t listeningPort_ = 0;
  std::shared_ptr<Call> call_;
  std::shared_ptr<End> end_;
  std::string frame_;  // incomplete; "" between frames
  bool reading_ = true;
  int connections_ = 0;
  int ending_ = -1;
};

}  // namespace quarnex::simulation
