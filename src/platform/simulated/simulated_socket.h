// SimulatedSocket: one socket instance on the simulated network.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "platform/simulated/simulated_network.h"
#include "platform/simulated/simulated_sockets.h"
#include "services/socket_service.h"

namespace quarnex::simulated {

class SimulatedSocket final : public SocketInstance, private Listener, private CallEvents, private EndEvents {
 public:
  SimulatedSocket(SimulatedSockets& service, SocketArray array, std::int16_t index, SocketEvents& events);
  ~SimulatedSocket() override;
  SimulatedSocket(const SimulatedSocket&) = delete;
  SimulatedSocket& operator=(const SimulatedSocket&) = delete;

  std::int32_t state() override { return state_; }
  std::string statusText() override { return std::string(statusTextOf(state_)); }
  std::int32_t localPort() override { return localPort_; }
  void setLocalPort(std::int32_t port) override { localPort_ = port; }
  std::int32_t remotePort() override { return remotePort_; }
  void setRemotePort(std::int32_t port) override { remotePort_ = port; }
  void setLocalAddress(std::string_view dotted) override { localAddress_ = dotted; }
  std::string remoteHost() override { return remoteHost_; }
  void setRemoteHost(std::string_view dotted) override { remoteHost_ = dotted; }

  void close() override { endUse(); }
  void prepareA() override {}
  void prepareB() override {}
  void connect() override;
  void listen() override;
  void attach(std::int32_t handle) override;

  std::int32_t bytesWaiting() override {
    if (end_ == nullptr) return 0;
    return static_cast<std::int32_t>(
        std::min<std::size_t>(end_->arrived(), std::numeric_limits<std::int32_t>::max()));
  }
  void fetch() override;
  std::string_view receivedText() override;
  void send(std::string_view bytes) override;

 private:
  friend class SimulatedSockets;

  void onCaller(std::shared_ptr<End> end) override;
  void onConnected(std::shared_ptr<End> end) override;
  void onCallFailed(std::int16_t code) override;
  void onEnd() override;
  void onBroken(std::int16_t code) override;

  void post(EventKind kind, std::int16_t code, std::shared_ptr<End> end = nullptr);
  void beginUse(SocketState state);
  void carry(std::shared_ptr<End> end);
  void endUse();
  void requireIdle() const;

  SimulatedSockets& service_;
  SocketEvents& events_;
  SocketArray array_;
  std::int16_t index_;
  SocketState state_ = kSocketClosed;
  std::uint32_t use_ = 0;     // counts what the instance was used for
  Milliseconds lastDue_ = 0;  // of the latest event posted for it
  std::int32_t localPort_ = 0;
  std::int32_t remotePort_ = 0;
  std::string localAddress_;
  std::string remoteHost_;
  std::int32_t listeningPort_ = 0;
  std::shared_ptr<Call> call_;
  std::shared_ptr<End> end_;
};

}  // namespace quarnex::simulated
