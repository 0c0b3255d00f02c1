// The simulated adapter in the contract suite, in virtual time.
#include <utility>

#include "services/socket_contract.h"
#include "simulation/sites/world.h"

namespace quarnex::simulation {
namespace {

class OutsidePeer final : public Peer {
 public:
  explicit OutsidePeer(ScriptedPeer& peer) : peer_(peer) {}
  void send(std::string_view bytes) override { peer_.send(bytes); }
  std::string receive() override { return std::exchange(peer_.bytes, {}); }
  bool ended() override { return !peer_.connected(); }
  void close() override { peer_.close(); }
  void reset() override { peer_.reset(); }

 private:
  ScriptedPeer& peer_;
};

class SimulatedHarness final : public Harness {
 public:
  SocketService& sockets() override { return host_.sockets; }
  TimerService& timer() override { return host_.timer; }
  bool runUntil(const std::function<bool()>& holds) override { return world_.runUntil(holds, 20); }
  std::int32_t freePort() override { return world_.network().freePort(1); }
  // The connection stands, as a system sees to without the process that listens.
  std::unique_ptr<Peer> call(std::int32_t port) override {
    ScriptedPeer& peer = world_.addPeer();
    peer.call(port);
    host_.loop.stall(1);
    world_.runDue();
    return std::make_unique<OutsidePeer>(peer);
  }

 private:
  World world_{1};
  Host& host_ = world_.addHost();
};

std::unique_ptr<Harness> makeSimulatedHarness() {
  return std::make_unique<SimulatedHarness>();
}

}  // namespace
}  // namespace quarnex::simulation

namespace quarnex {
INSTANTIATE_TEST_SUITE_P(Simulated, SocketContract, testing::Values(&simulation::makeSimulatedHarness));
}
