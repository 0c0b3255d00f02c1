#include "simulation/sites/simulated_host.h"

#include "quarnex/failure.h"

namespace quarnex::simulation {

Host::Host(Network& network, Random random, int onMachine, Instant start)
    : machine(onMachine),
      loop(network.time()),
      clock(network.time(), start),
      timer(loop, random.split()),
      sockets(network, loop, onMachine, random.split()) {
  this->start();
}

void Host::start() {
  stop();
  process_ = std::make_unique<Process>(faultyServices_.services(), makeWrapper ? makeWrapper() : nullptr);
  if (traces_.keeping) keepTraces();
}

void Host::stop() {
  process_ = nullptr;
  timer.setPeriod(0);
}

void Host::setLog(bool open) {
  try {
    open ? quarn().AttivaLog() : quarn().DisattivaLog(0);
  } catch (const Failure&) {
    // no log, then
  }
}

void Host::keepTraces() {
  traces_.keeping = true;
  if (library().observer == &traces_) return;
  traces_.next = library().observer;
  library().observer = &traces_;
}

void Host::turn() {
  sockets.deliverPending();
  timer.tick();
}

Host::Process::Process(const Services& services, std::unique_ptr<ServicesWrapper> wrappedIn)
    : wrapper(std::move(wrappedIn)), library(wrapper ? wrapper->wrap(services) : services), quarn(library) {
  if (wrapper) wrapper->watch(library);
}

void Host::Traces::traced(std::int16_t IdxQuarn, std::string_view text) {
  texts.emplace_back(IdxQuarn, text);
  PassingObserver::traced(IdxQuarn, text);
}

}  // namespace quarnex::simulation
