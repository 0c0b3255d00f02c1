#include "platform/simulated/simulated_host.h"

namespace quarnex::simulated {

Host::Host(Network& network, Random random, int onMachine, Instant start)
    : machine(onMachine),
      loop(network.time()),
      clock(network.time(), start),
      timer(loop, random.split()),
      sockets(network, loop, onMachine, random.split()),
      faultySockets_(sockets, faults),
      faultyTimer_(timer, faults),
      faultyFile_(log, faults) {
  this->start();
}

void Host::start() {
  stop();
  engine_ = std::make_unique<Engine>(Services{faultySockets_, faultyTimer_, clock, faultyFile_});
  if (traces_.keeping) keepTraces();
}

void Host::stop() {
  engine_ = nullptr;
  timer.setPeriod(0);
}

void Host::keepTraces() {
  traces_.keeping = true;
  library().observer = &traces_;
}

void Host::turn() {
  sockets.deliverPending();
  timer.tick();
}

}  // namespace quarnex::simulated
