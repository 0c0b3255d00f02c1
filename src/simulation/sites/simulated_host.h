// Host: one process with an engine of its own on simulated services.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/engine.h"
#include "platform/simulated/disk.h"
#include "platform/simulated/memory_file.h"
#include "platform/simulated/random.h"
#include "platform/simulated/simulated_loop.h"
#include "platform/simulated/simulated_network.h"
#include "platform/simulated/simulated_sockets.h"
#include "platform/simulated/simulated_timer.h"
#include "platform/simulated/virtual_clock.h"
#include "quarnex/quarn_socket.h"
#include "services/observer.h"
#include "services/services_wrapper.h"
#include "simulation/faults/faulty_services.h"

namespace quarnex::simulation {

/// What the engine sees of a host, and whatever can be done to it from outside. The outside outlives a
/// restart.
class Host {
 public:
  Host(Network& network, Random random, int machine, Instant start);
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  QuarnSocket& quarn() { return process_->quarn; }
  Library& library() { return process_->library; }

  /// Ends the process, as its orderly end or `kill -9` would: the system closes what it had open. Nothing may
  /// be asked of the engine until `start`.
  void stop();
  /// A fresh engine, without links.
  void start();
  bool running() const { return process_ != nullptr; }
  /// Opens a log or closes it, as an application that goes on without one if that fails.
  void setLog(bool open);
  /// One turn of the loop at once, as far as events and one tick go: also nested inside an operation.
  void turn();

  /// Keeps every trace text from now on.
  void keepTraces();
  /// The texts kept so far, with the link that each belongs to.
  std::vector<std::pair<std::int16_t, std::string>>& traces() { return traces_.texts; }

  const int machine;
  Loop loop;
  VirtualClock clock;
  SimulatedTimer timer;
  SimulatedSockets sockets;
  Disk disk;
  MemoryFile log{disk};
  OperationFaults faults;
  /// Makes what stands between each engine and these services, from the next `start` on; none if empty.
  std::function<std::unique_ptr<ServicesWrapper>()> makeWrapper;

 private:
  struct Traces final : PassingObserver {
    void traced(std::int16_t IdxQuarn, std::string_view text) override;
    bool keeping = false;
    std::vector<std::pair<std::int16_t, std::string>> texts;
  };
  struct Process {
    Process(const Services& services, std::unique_ptr<ServicesWrapper> wrappedIn);
    std::unique_ptr<ServicesWrapper> wrapper;
    quarnex::Engine library;
    QuarnSocket quarn;
  };

  FaultyServices faultyServices_{sockets, timer, clock, log, faults};
  Traces traces_;
  std::unique_ptr<Process> process_;
};

}  // namespace quarnex::simulation
