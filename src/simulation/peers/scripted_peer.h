// ScriptedPeer: a peer outside the engine that does as it is told, and notes what it receives and when.
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

/// Listens on a port or calls one, and carries one connection at a time: a newer caller replaces the older.
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
  /// Connections that it has had, and how the last one ended: -1 = not at all, 0 = in the orderly way, else a
  /// number. A refused call counts as an end, not as a connection.
  int connections() const { return connections_; }
  int ending() const { return ending_; }

  /// Sends bytes as they are, or a message in its frame; into the void while it is not connected.
  void send(std::string_view bytes);
  void sendMessage(int identifier, const std::vector<std::string>& fields);
  /// Closes in the orderly way (a reset if it has unread input, as the system does), or with a reset.
  void close();
  void reset();
  /// From now on it reads or does not; what has arrived unread meanwhile is read now.
  void setReading(bool reading);

  /// A frame and the virtual time of its last byte.
  struct Received {
    Milliseconds at;
    wire::Frame frame;
  };
  std::vector<Received> frames;
  std::string bytes;  ///< all that it has read

  /// Runs for each frame, on whatever happens to be the connection.
  std::function<void(const Received&)> onFrame;
  std::function<void()> onConnect;
  /// Answers as a link of that identifier with nothing to say would: "9ACK" to data, "9NODATA" to a query.
  void answerAsLink(int identifier);
  /// The end of its connection, for whoever plays the network; nullptr if it has none.
  End* end() const { return end_.get(); }

 private:
  void onCaller(std::shared_ptr<End> end) override;
  void onConnected(std::shared_ptr<End> end) override;
  void onCallFailed(std::int16_t code) override;
  void onArrival() override;
  void onEnd() override;
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
