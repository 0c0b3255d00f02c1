#include "simulation/faults/scene.h"

namespace quarnex::simulation {
bool Scene::strikes(Fault fault, std::uint32_t light, std::uint32_t heavily) {
  if (!mix.has(fault) || !random.chance(heavy.has(fault) ? heavily : light)) return false;
  happened(fault);
  return true;
}

std::int32_t Scene::anyPort() {
  return kPortOfIdentifier0 + site.anyIdentifier(random);
}

std::shared_ptr<Connection> Scene::anyConnection() {
  auto connections = site.world().network().connections();
  return connections.empty() ? nullptr : oneOf(connections);
}

Milliseconds Scene::duration(Milliseconds low, Milliseconds high) {
  while (high / 2 > low && random.chance(500)) high /= 2;
  return random.between(low, high);
}

std::shared_ptr<ScriptedPeer> Scene::engagePeer(Address port, Milliseconds stay) {
  auto peer = std::make_shared<ScriptedPeer>(site.world().network(), port.machine);
  touch(Fault::Callers, port, stay);
  std::erase_if(peers_, [](const auto& gone) { return gone.expired(); });
  peers_.push_back(peer);
  later(stay, [peer] {});
  return peer;
}

void Scene::dismissPeers() {
  for (const auto& engaged : peers_) {
    if (const auto peer = engaged.lock()) {
      peer->stopListening();
      peer->close();
    }
  }
}

}  // namespace quarnex::simulation
