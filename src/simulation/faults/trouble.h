// Trouble: a mix of faults, drawn from a seed, that befalls a site until it is ended.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "platform/simulated/random.h"
#include "simulation/faults/fault.h"
#include "simulation/faults/scene.h"
#include "simulation/sites/site.h"

namespace quarnex::simulation {

class Trouble {
 public:
  /// Draws the mix: of the faults in `allowed` some are off, some come now and then, some are heavy.
  Trouble(Site& site, Random random, FaultSet allowed = FaultSet::all());
  ~Trouble() { end(); }
  Trouble(const Trouble&) = delete;
  Trouble& operator=(const Trouble&) = delete;

  void begin();
  /// No more faults: strangers leave, what is held or on its way arrives, every host runs and has what it
  /// needs. Clocks keep the time that they show, and a host that stalls does so to the end.
  void end();
  /// How long it is still felt: until the last stall is over and clocks that were put back have made up for
  /// it.
  Milliseconds aftermath();

  /// Sees whom damage and strangers befall, as `Scene::onTouch` says.
  void setOnTouch(std::function<void(Fault fault, Address port, Milliseconds stay)> onTouch) {
    scene_.onTouch = std::move(onTouch);
  }

  const FaultSet& mix() const { return scene_.mix; }
  /// How often a fault, or one of its kinds, has happened.
  std::uint64_t count(Fault fault) const { return scene_.counts[static_cast<std::size_t>(fault)]; }
  std::uint64_t count(Kind kind) const { return scene_.kinds[static_cast<std::size_t>(kind)]; }

 private:
  struct Row;

  void schedule(const Row& row);

  Scene scene_;
};

}  // namespace quarnex::simulation
