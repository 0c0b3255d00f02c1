// Runs the contract suite on the simulated adapter and on the wrappers round it, in virtual time.
#include <limits>
#include <utility>

#include "services/recorded_harness.h"
#include "simulation/faults/faulty_services.h"
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

// Operation faults without a fault stand between the adapter and its user, as in every simulated host.
class SimulatedHarness : public Harness {
 public:
  // The host's own engine has limited its output.
  SimulatedHarness() {
    host_.log.folders.insert(SimulatedHarness::folder());
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    host_.sockets.limitOutput(most, most);
  }
  Services services() override { return faulty_.services(); }
  void stall(std::chrono::milliseconds pause) override {
    host_.loop.stall(pause.count());
    world_.runMilliseconds(pause.count());
  }
  bool setSystemClock(std::chrono::seconds) override { return false; }
  std::string folder() override { return "logs"; }
  std::string contentOf(const std::string& name) override { return host_.log.files.at(name); }
  bool runUntil(const std::function<bool()>& holds) override { return world_.runUntil(holds, 20); }
  std::int32_t freePort() override { return world_.network().freePort(1); }
  std::unique_ptr<Peer> call(std::int32_t port) override {
    ScriptedPeer& peer = world_.addPeer();
    peer.call(port);
    return connected(peer);
  }
  std::unique_ptr<Peer> answer(const std::function<void(std::int32_t)>& call) override {
    ScriptedPeer& peer = world_.addPeer();
    const std::int32_t port = freePort();
    peer.listen(port);
    call(port);
    return connected(peer);
  }

 private:
  // A system connects without the listening process, so that process stalls meanwhile.
  std::unique_ptr<Peer> connected(ScriptedPeer& peer) {
    host_.loop.stall(1);
    world_.runDue();
    return std::make_unique<OutsidePeer>(peer);
  }

  World world_{1};
  Host& host_ = world_.addHost();
  FaultyServices faulty_{host_.sockets, host_.timer, host_.clock, host_.log, host_.faults};
};

INSTANTIATE_TEST_SUITE_P(Simulated, ServicesContract, testing::Values(&makeHarness<SimulatedHarness>));
INSTANTIATE_TEST_SUITE_P(Recorded, ServicesContract,
                         testing::Values(&makeHarness<RecordedHarness<SimulatedHarness>>));

}  // namespace
}  // namespace quarnex::simulation
