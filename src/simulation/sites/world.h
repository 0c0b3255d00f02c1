// World: hosts with an engine each and scripted peers, on one network, in one virtual time, from one seed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/engine.h"
#include "platform/simulated/random.h"
#include "platform/simulated/simulated_files.h"
#include "platform/simulated/simulated_network.h"
#include "platform/simulated/simulated_sockets.h"
#include "platform/simulated/simulated_timer.h"
#include "platform/simulated/virtual_clock.h"
#include "platform/simulated/virtual_time.h"
#include "quarnex/failure.h"
#include "quarnex/quarn_socket.h"
#include "services/services.h"
#include "simulation/faults/faulty_services.h"
#include "simulation/peers/scripted_peer.h"

namespace quarnex::simulation {

/// One process with an engine of its own on simulated services. All but the process survives a restart.
class Host {
 public:
  Host(Network& network, Random random, int onMachine, Instant shows)
      : machine(onMachine),
        loop(network.time()),
        clock(network.time(), shows),
        timer(loop, random.split()),
        sockets(network, loop, onMachine, random.split()) {
    start();
  }

  QuarnSocket& quarn() { return *quarn_; }
  Library& library() { return *library_; }

  /// Ends the process, as an exit or `kill -9` does: the system closes everything that it had open. Do not
  /// use the engine until the next `start`.
  void stop() {
    quarn_.reset();
    library_.reset();
    wrapper_ = nullptr;
    timer.setPeriod(0);
  }
  /// Starts a fresh engine, without links.
  void start() {
    stop();
    const Services services = faultyServices_.services();
    if (makeWrapper) wrapper_ = makeWrapper();
    quarn_.emplace(library_.emplace(wrapper_ ? wrapper_->wrap(services) : services));
    if (wrapper_) wrapper_->watch(*library_);
  }
  bool running() const { return library_.has_value(); }
  /// Opens a log or closes it. The application goes on without a log if that fails.
  void setLog(bool open) {
    try {
      open ? quarn().AttivaLog() : quarn().DisattivaLog(0);
    } catch (const Failure&) {
      // no log, then
    }
  }
  /// One turn of the loop at once: due events and one tick. It may nest inside an operation.
  void turn() {
    sockets.deliverPending();
    timer.tick();
  }

  const int machine;
  Loop loop;
  VirtualClock clock;
  SimulatedTimer timer;
  SimulatedSockets sockets;
  Disk disk;
  MemoryFile log{disk};
  OperationFaults faults;
  /// Makes the wrapper between each engine and these services, from the next `start` on. Empty = none.
  std::function<std::unique_ptr<ServicesWrapper>()> makeWrapper;

 private:
  FaultyServices faultyServices_{sockets, timer, clock, log, faults};
  // The process.
  std::unique_ptr<ServicesWrapper> wrapper_;
  std::optional<quarnex::Engine> library_;
  std::optional<QuarnSocket> quarn_;
};

/// The same seed and the same calls give the same events at the same times, byte for byte.
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

  /// Hosts and peers of one machine share its ports; different machines are not connected.
  Host& addHost(int machine = 1) {
    const Instant now{start.second + time_.now() / kSecond};
    return *hosts_.emplace_back(std::make_unique<Host>(network_, random_.split(), machine, now));
  }
  ScriptedPeer& addPeer(int machine = 1) {
    return *peers_.emplace_back(std::make_unique<ScriptedPeer>(network_, machine));
  }

  void run(std::int64_t seconds) { runMilliseconds(seconds * kSecond); }
  void runMilliseconds(Milliseconds duration) { time_.runUntil(time_.now() + duration); }
  /// Runs until `condition`, evaluated after each task, is true; false if that takes more than `secondsMax`.
  bool runUntil(const std::function<bool()>& condition, std::int64_t secondsMax) {
    const Milliseconds latest = time_.now() + secondsMax * kSecond;
    while (!condition()) {
      if (!time_.runNext(latest)) return false;
    }
    return true;
  }
  /// Runs everything that is due now; also from inside an operation or an event.
  void runDue() { time_.runUntil(time_.now()); }

  VirtualTime& time() { return time_; }
  Network& network() { return network_; }
  /// A separate generator for one participant of the simulation.
  Random random() { return random_.split(); }

  /// The time that clocks of new hosts show.
  Instant start{1'795'080'600};

 private:
  Random random_;
  VirtualTime time_;
  Network network_;
  std::vector<std::unique_ptr<Host>> hosts_;
  std::vector<std::unique_ptr<ScriptedPeer>> peers_;
};

}  // namespace quarnex::simulation
