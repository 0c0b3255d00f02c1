#include "simulation/faults/trouble.h"

#include <algorithm>

#include "simulation/faults/host_faults.h"
#include "simulation/faults/network_faults.h"

namespace quarnex::simulation {

/// A fault that happens at single moments, about so far apart for each host when it is light.
struct Trouble::Row {
  Fault fault;
  Milliseconds pause;
  void (*happen)(Scene& scene);
};

namespace {

constexpr Milliseconds kMinute = 60'000;
constexpr std::int64_t kHeavierBy = 8;

}  // namespace

Trouble::Trouble(Site& site, Random random, FaultSet allowed) : scene_(site, random) {
  for (std::size_t i = 0; i < kFaultCount; ++i) {
    const auto fault = static_cast<Fault>(i);
    if (isLarge(fault)) {
      if (allowed.has(fault)) scene_.mix.add(fault);
      continue;
    }
    if (isLater(fault) && !allowed.has(fault)) continue;
    const auto degree = scene_.random.below(4);  // half of them are off
    if (degree < 2 || !allowed.has(fault)) continue;
    scene_.mix.add(fault);
    if (degree == 3) scene_.heavy.add(fault);
  }
}

void Trouble::begin() {
  static constexpr Row rows[] = {
      {Fault::Hold, 20 * kMinute, holdOne},
      {Fault::HalfOpen, 30 * kMinute, halfOpenOne},
      {Fault::Break, 15 * kMinute, breakSome},
      {Fault::Callers, 30 * kMinute, callIn},
      {Fault::Squat, 20 * kMinute, squat},
      {Fault::Hostile, 30 * kMinute, attack},
      {Fault::Descriptors, 30 * kMinute, starve},
      {Fault::Raise, 30 * kMinute, raiseEvent},
      {Fault::Disk, 30 * kMinute, spoilDisk},
      {Fault::ClockForward, 60 * kMinute, jumpForward},
      {Fault::ClockBack, 60 * kMinute, jumpBack},
      {Fault::ClockSpeed, 60 * kMinute, changeSpeed},
      {Fault::ClockStrobe, 60 * kMinute, strobe},
      {Fault::ClockInside, 60 * kMinute, jumpInside},
      {Fault::Summer, 120 * kMinute, changeSummerTime},
      {Fault::Stall, 120 * kMinute, stall},
      {Fault::Pace, 60 * kMinute, changePace},
      {Fault::HostCalls, 10 * kMinute, callHost},
      {Fault::Restart, 60 * kMinute, restart},
      {Fault::Deaf, 60 * kMinute, goDeaf},
      {Fault::Burst, 720 * kMinute, burst},
      {Fault::Add, 240 * kMinute, addLink},
      {Fault::Leap, 240 * kMinute, leap},
      {Fault::ClockYear, 480 * kMinute, jumpByMonths},
      {Fault::Drip, 120 * kMinute, drip},
      {Fault::Endless, 240 * kMinute, sendEndless},
      {Fault::Backlog, 480 * kMinute, sendBacklog},
  };
  scene_.running = true;
  Network& network = scene_.site.world().network();
  network.onConnection = [this](Connection& connection) { afflictConnection(scene_, connection); };
  network.onCall = [this](const Call&) { return fateOf(scene_); };
  for (const auto& place : scene_.site.places()) afflictHost(scene_, place->host());
  for (const Row& row : rows) {
    if (scene_.mix.has(row.fault)) schedule(row);
  }
}

void Trouble::end() {
  if (!scene_.running) return;
  scene_.running = false;
  Network& network = scene_.site.world().network();
  network.onConnection = nullptr;
  network.onCall = nullptr;
  scene_.dismissPeers();
  for (const auto& connection : network.connections()) {
    for (End* end : {&connection->caller, &connection->called}) {
      end->conditions = {};
      end->tamper = nullptr;
      end->hurry();
    }
    connection->release();
  }
  for (const auto& place : scene_.site.places()) relieveHost(*place);
}

Milliseconds Trouble::aftermath() {
  Milliseconds latest = 0;
  for (const auto& place : scene_.site.places()) {
    Host& host = place->host();
    const Milliseconds now = scene_.site.world().time().now();
    latest = std::max({latest, host.loop.turnAt(now) - now, host.clock.behindLatest()});
  }
  return latest;
}

void Trouble::schedule(const Row& row) {
  const auto hosts = static_cast<std::int64_t>(scene_.site.places().size());
  const Milliseconds pause = row.pause / hosts / (scene_.heavy.has(row.fault) ? kHeavierBy : 1);
  scene_.later(scene_.random.between(1, 2 * pause), [this, &row] {
    row.happen(scene_);
    schedule(row);
  });
}

}  // namespace quarnex::simulation
