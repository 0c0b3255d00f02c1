// World: any number of hosts and scripted peers on one network and one course of time, all from one seed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/simulated/random.h"
#include "platform/simulated/simulated_network.h"
#include "platform/simulated/virtual_time.h"
#include "simulation/peers/scripted_peer.h"
#include "simulation/sites/simulated_host.h"

namespace quarnex::simulation {

/// The same seed and the same calls give the same events at the same moments, byte for byte.
///
///     World world{42};
///     Host& server = world.addHost();
///     Host& client = world.addHost();
///     const auto listening = server.quarn().Add("MIRTAN", 5, false, true);
///     const auto calling = client.quarn().Add("MIRTAN", 5, true, true);
///     server.quarn().Apri(listening);
///     client.quarn().Apri(calling);
///     world.run(60);
class World {
 public:
  explicit World(std::uint64_t seed) : random_(seed), network_(time_, random_.split()) {}

  /// Hosts and peers of the same machine share its ports, those of different machines do not meet.
  Host& addHost(int machine = 1);
  ScriptedPeer& addPeer(int machine = 1);
  std::vector<std::unique_ptr<Host>>& hosts() { return hosts_; }

  void run(std::int64_t seconds) { runMilliseconds(seconds * 1000); }
  void runMilliseconds(Milliseconds duration) { time_.runUntil(time_.now() + duration); }
  /// Runs until `holds`, which is asked after every task; false if it does not within `secondsMax`.
  bool runUntil(const std::function<bool()>& holds, std::int64_t secondsMax);
  /// Everything that is due at this very moment; may be called from inside an operation or an event.
  void runDue() { time_.runUntil(time_.now()); }

  VirtualTime& time() { return time_; }
  Network& network() { return network_; }
  /// A generator of its own for whoever takes part in the simulation.
  Random random() { return random_.split(); }

  /// What the clocks of new hosts show.
  Instant start{1'795'080'600};

 private:
  Random random_;
  VirtualTime time_;
  Network network_;
  std::vector<std::unique_ptr<Host>> hosts_;
  std::vector<std::unique_ptr<ScriptedPeer>> peers_;
};

}  // namespace quarnex::simulation
