// Scene: what the faults of a trouble work on: victims drawn at random, and deeds that wait for their moment.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "platform/simulated/random.h"
#include "simulation/faults/fault.h"
#include "simulation/faults/kind.h"
#include "simulation/sites/site.h"

namespace quarnex::simulation {

class Scene {
 public:
  Scene(Site& onSite, Random fromRandom) : site(onSite), random(fromRandom) {}

  Site& site;
  Random random;
  FaultSet mix;    // what can happen at all
  FaultSet heavy;  // and often
  bool running = false;
  std::array<std::uint64_t, kFaultCount> counts{};
  std::array<std::uint64_t, kKindCount> kinds{};

  /// Said by the deeds themselves: some find nobody to befall.
  void happened(Fault fault) { ++counts[static_cast<std::size_t>(fault)]; }
  void happened(Kind kind) { ++kinds[static_cast<std::size_t>(kind)]; }
  /// True, and counted, so many times in a thousand: `light` or `heavily` by the mix, never if the fault is
  /// off.
  bool strikes(Fault fault, std::uint32_t light, std::uint32_t heavily);

  template <class List>
  auto& oneOf(List& list) {
    return list[random.below(static_cast<std::uint32_t>(std::size(list)))];
  }
  Place& anyPlace() { return *oneOf(site.places()); }
  Host& anyHost() { return anyPlace().host(); }
  /// The index of one of its links.
  std::int16_t anyLink(const Place& place) {
    return static_cast<std::int16_t>(1 + random.below(static_cast<std::uint32_t>(place.plan().size())));
  }
  /// A port on which a link may listen, on any machine.
  std::int32_t anyPort();
  /// nullptr if there is none.
  std::shared_ptr<Connection> anyConnection();
  /// From `low` to `high`; each halving of what is above is as likely as not.
  Milliseconds duration(Milliseconds low, Milliseconds high);

  /// Sees which links feel damage, or a stranger (`Callers`, whatever it does), from now on for so long:
  /// those with that port.
  std::function<void(Fault fault, Address port, Milliseconds stay)> onTouch;
  void touch(Fault fault, Address port, Milliseconds stay) const {
    if (onTouch) onTouch(fault, port, stay);
  }

  /// A scripted peer for that port that goes away after so long, or with the end of the trouble.
  std::shared_ptr<ScriptedPeer> engagePeer(Address port, Milliseconds stay);
  void dismissPeers();

  /// Runs `deed` after a pause, unless the trouble is over by then.
  template <class Deed>
  void later(Milliseconds pause, Deed deed) {
    VirtualTime& time = site.world().time();
    time.at(time.now() + pause,
            [this, alive = std::weak_ptr<bool>(alive_), deed = std::move(deed)]() mutable {
              if (!alive.expired() && running) deed();
            });
  }

 private:
  std::vector<std::weak_ptr<ScriptedPeer>> peers_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  // deeds of a scene that is gone do nothing
};

}  // namespace quarnex::simulation
