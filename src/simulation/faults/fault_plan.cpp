#include "simulation/faults/fault_plan.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "simulation/faults/tampering.h"

namespace quarnex::simulation {
namespace {

constexpr std::int64_t kHeavierBy = 8;
constexpr std::uint32_t kFewLinks = 50;

// 0 if the word is not "generation-" and a number.
int generationNamed(std::string_view word) {
  constexpr std::string_view prefix = "generation-";
  int generation = 0;
  const char* const end = word.data() + word.size();
  if (!word.starts_with(prefix) || std::from_chars(word.data() + prefix.size(), end, generation).ptr != end)
    return 0;
  return generation;
}

}  // namespace

std::span<const Fault* const> allFaults() {
  static const std::vector<const Fault*> sorted = [] {
    std::vector<const Fault*> faults;
    for (const auto& table : {networkFaults(), serviceFaults(), clockFaults(), hostFaults()})
      for (const Fault& fault : table) faults.push_back(&fault);
    std::ranges::stable_sort(faults, {},
                             [](auto* fault) { return std::pair(fault->large, fault->generation); });
    return faults;
  }();
  return sorted;
}

std::optional<FaultSet> faultsNamed(std::string_view word) {
  if (word == "none") return FaultSet();
  const int latest = word == "all" ? std::numeric_limits<int>::max() : generationNamed(word);
  FaultSet faults;
  for (const Fault* fault : allFaults()) {
    const bool inGroup = fault->large ? word == "large" : fault->generation <= latest;
    if (fault->name == word || inGroup) faults.insert(fault->name);
  }
  return faults.empty() ? std::nullopt : std::optional(std::move(faults));
}

FaultPlan::FaultPlan(Site& onSite, Random fromRandom, const FaultSet& allowed)
    : site(onSite), random(fromRandom) {
  for (const Fault* fault : allFaults()) {
    counts_[fault->name] = 0;
    for (const std::string_view kind : fault->kinds)
      if (!kind.empty()) counts_[kind] = 0;
    const bool isAllowed = allowed.contains(fault->name);
    if (fault->large && isAllowed) enable(*fault, false);
    if (fault->large || (fault->generation > 1 && !isAllowed)) continue;
    const auto degree = random.below(4);  // half of them are off
    if (degree >= 2 && isAllowed) enable(*fault, degree == 3);
  }
}

void FaultPlan::enable(const Fault& fault, bool heavy) {
  enabledNames_.insert(fault.name);
  if (heavy) heavy_.insert(fault.name);
  enabled_.push_back({&fault, heavy, &counts_[fault.name]});
}

void FaultPlan::begin() {
  running_ = true;
  Network& network = site.world().network();
  network.onConnection = [this](Connection& connection) {
    spoilDirection(connection.caller, connection.port);
    spoilDirection(connection.called, connection.port);
  };
  network.onCall = [this](const Call&) {
    CallFate fate;
    tryUntilOne(enabled_, &Fault::call, fate);
    return fate;
  };
  for (const auto& place : site.places()) spoilHost(place->host());
  for (const Enabled& one : enabled_)
    if (one.fault->times.effect != nullptr) schedule(one);
}

void FaultPlan::end() {
  if (!running_) return;
  running_ = false;
  Network& network = site.world().network();
  network.onConnection = nullptr;
  network.onCall = nullptr;
  for (const auto& engaged : peers_) {
    if (const auto peer = engaged.lock()) {
      peer->stopListening();
      peer->close();
    }
  }
  for (const auto& connection : network.connections()) {
    for (End* end : {&connection->caller, &connection->called}) {
      end->conditions = {};
      end->tamper = nullptr;
      end->hurry();
    }
    connection->release();
  }
  for (const auto& place : site.places()) restore(*place);
}

Milliseconds FaultPlan::aftermath() {
  Milliseconds latest = 0;
  for (const auto& place : site.places()) {
    Host& host = place->host();
    const Milliseconds now = site.world().time().now();
    latest = std::max({latest, host.loop.turnAt(now) - now, host.clock.behindLatest()});
  }
  return latest;
}

std::shared_ptr<Connection> FaultPlan::anyConnection() {
  auto connections = site.world().network().connections();
  return connections.empty() ? nullptr : oneOf(connections);
}

Milliseconds FaultPlan::duration(Milliseconds low, Milliseconds high) {
  while (high / 2 > low && random.chance(500)) high /= 2;
  return random.between(low, high);
}

std::shared_ptr<ScriptedPeer> FaultPlan::engagePeer(Address port, Milliseconds stay) {
  auto peer = std::make_shared<ScriptedPeer>(site.world().network(), port.machine);
  affect(Cause::Stranger, port, stay);
  std::erase_if(peers_, [](const auto& gone) { return gone.expired(); });
  peers_.push_back(peer);
  later(stay, [peer] {});
  return peer;
}

void FaultPlan::schedule(const Enabled& one) {
  const auto hosts = static_cast<std::int64_t>(site.places().size());
  const Milliseconds pause = one.fault->times.pause / hosts / (one.heavy ? kHeavierBy : 1);
  later(random.between(1, 2 * pause), [this, one] {
    if (one.fault->times.effect(*this)) ++*one.count;
    schedule(one);
  });
}

void FaultPlan::spoilDirection(End& end, Address port) {
  end.conditions = {};
  tryAll(&Fault::direction, end.conditions);
  std::vector<Tamper> tampers;
  tryAll(&Fault::frames, tampers, port);
  tryAll(&Fault::pieces, tampers, port);
  if (!tampers.empty()) end.tamper = inTurn(std::move(tampers));
}

void FaultPlan::spoilHost(Host& host) {
  if (auto faults = enabledFor(&Fault::operation); !faults.empty()) {
    host.faults.choose = [this, faults](const ServiceCall& call) {
      std::optional<OperationFault> failure;
      tryUntilOne(faults, isRead(call.operation) ? &Fault::read : &Fault::operation, failure);
      return failure;
    };
  }
  if (auto faults = enabledFor(&Fault::inside); !faults.empty()) {
    host.faults.inside = [this, &host, faults](const ServiceCall& call) { happenInside(faults, host, call); };
    host.faults.insideDepthMax = static_cast<int>(random.between(1, 3));
  }
  tryAll(&Fault::disk, host.disk);
  tryAll(&Fault::events, host.sockets.disorder);
}

// A turn inside an operation visits every link. Where there are many links, fewer operations have one inside:
// otherwise the cost of a step would grow with the square of their number.
void FaultPlan::happenInside(const Faults& faults, Host& host, const ServiceCall& call) {
  const auto links = static_cast<std::uint32_t>(site.tcpLinks());
  if (links > kFewLinks && random.below(links) >= kFewLinks) return;
  tryUntilOne(faults, &Fault::inside, host, call);
}

// Also brings the host up if it is down or cannot recover, and opens all its links.
void FaultPlan::restore(Place& place) {
  Host& host = place.host();
  host.faults.choose = nullptr;
  host.faults.inside = nullptr;
  host.sockets.disorder = {};
  host.sockets.descriptorsMax = std::numeric_limits<int>::max();
  host.disk.repair();
  host.clock.calm();
  host.timer.setPace(0, 0);
  place.setPolling(true);
  if (!host.running() || !place.sound()) place.start();
  place.open();
}

}  // namespace quarnex::simulation
