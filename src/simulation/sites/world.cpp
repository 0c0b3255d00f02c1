#include "simulation/sites/world.h"

#include <utility>

#include "quarnex/failure.h"

namespace quarnex::simulation {

Host::Host(Network& network, Random random, int onMachine, Instant shows)
    : machine(onMachine),
      loop(network.time()),
      clock(network.time(), shows),
      timer(loop, random.split()),
      sockets(network, loop, onMachine, random.split()) {
  start();
}

void Host::start() {
  stop();
  process_ = std::make_unique<Process>(faultyServices_.services(), makeWrapper ? makeWrapper() : nullptr);
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

void Host::turn() {
  sockets.deliverPending();
  timer.tick();
}

Host::Process::Process(const Services& services, std::unique_ptr<ServicesWrapper> wrappedIn)
    : wrapper(std::move(wrappedIn)), library(wrapper ? wrapper->wrap(services) : services), quarn(library) {
  if (wrapper) wrapper->watch(library);
}

Host& World::addHost(int machine) {
  const Instant now{start.second + time_.now() / kSecond};
  return *hosts_.emplace_back(std::make_unique<Host>(network_, random_.split(), machine, now));
}

ScriptedPeer& World::addPeer(int machine) {
  return *peers_.emplace_back(std::make_unique<ScriptedPeer>(network_, machine));
}

bool World::runUntil(const std::function<bool()>& condition, std::int64_t secondsMax) {
  const Milliseconds latest = time_.now() + secondsMax * kSecond;
  while (!condition()) {
    if (!time_.runNext(latest)) return false;
  }
  return true;
}

}  // namespace quarnex::simulation
