#include "simulation/sites/world.h"

namespace quarnex::simulation {

Host& World::addHost(int machine) {
  const Instant now{start.second + time_.now() / 1000};
  return *hosts_.emplace_back(std::make_unique<Host>(network_, random_.split(), machine, now));
}

ScriptedPeer& World::addPeer(int machine) {
  return *peers_.emplace_back(std::make_unique<ScriptedPeer>(network_, machine));
}

bool World::runUntil(const std::function<bool()>& holds, std::int64_t secondsMax) {
  const Milliseconds latest = time_.now() + secondsMax * 1000;
  while (!holds()) {
    if (!time_.runNext(latest)) return false;
  }
  return true;
}

}  // namespace quarnex::simulation
