// ScriptedPeer: a peer without an engine that acts as it is told and records received frames.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/simulated_network.h"
#include "simulation/peers/wire_format.h"

namespace quarnex::simulation {
using namespace simulated;

/// Listens on a port or calls one, and has one connection at a time: a newer caller replaces the older.
class ScriptedPeer final : private Listener, private CallEvents, private EndEvents {
 public:
  ScriptedPeer(Network& network, int machine) : network_(network), machine_(machine) {}
  ~ScriptedPeer() override;
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  void listen(std::int32_t port);
  void stopListening();
  /// Calls a port of its own machine.
  void call(std::int32_t port);

  bool connected() const { return end_ != nullptr; }
  /// Number of its connections so far.
  int connections() const { return connections_; }
  /// How the last connection or call ended: -1 = not yet, 0 = in the orderly way, else the number.
  int ending() const { return ending_; }

  /// Sends bytes unchanged, or a message in a frame; drops them while not connected.
  void send(std::string_view bytes);
  void sendMessage(int identifier, const std::vector<std::string>& fields);
  /// Closes in the orderly way, or with a reset if input is unread, as the system does.
  void close();
  void reset();
  /// Stops or resumes reading; on resuming it reads everything that has arrived meanwhile.
  void setReading(bool reading);

  /// A frame and the virtual time of its last byte.
  struct Received {
    Milliseconds at;
    wire::Frame frame;
  };
  std::vector<Received> frames;
  std::string bytes;  ///< all bytes that it has read

  /// Called for each frame, on whichever connection.
  std::function<void(const Received&)> onFrame;
  std::function<void()> onConnect;
  /// Answers like a link of that identifier without texts: "9ACK" to data, "9NODATA" to a query.
  void answerAsLink(int identifier);
  /// Its end of the connection, where network faults are set; nullptr if it has none.
  End* end() const { return end_.get(); }

 private:
  void onCaller(std::shared_ptr<End> end) override;
  void onConnected(std::shared_ptr<End> end) override;
  void onCallFailed(std::int16_t code) override;
  void onArrival() override { read(); }
  void onEnd() override { leaveIfDone(); }
  void onBroken(std::int16_t code) override;
  void carry(std::shared_ptr<End> end);
  void read();
  void leaveIfDone();

  Network& network_;
  int machine_;
  std::int32_t listeningPort_ = 0;
  std::shared_ptr<Call> call_;
  std::shared_ptr<End> end_;
  wire::Splitter splitter_;
  bool reading_ = true;
  int connections_ = 0;
  int ending_ = -1;
};

}  // namespace quarnex::simulation
