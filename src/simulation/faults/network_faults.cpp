// The faults of the network: how connections behave, which calls go through, and strangers.
#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "simulation/faults/fault_plan.h"
#include "simulation/faults/tampering.h"
#include "simulation/peers/hostile_bytes.h"
#include "simulation/peers/wire_format.h"

namespace quarnex::simulation {
namespace {

constexpr std::int16_t kEndings[] = {0, 10050, 10052, 10053, 10054, 10060};
constexpr std::int16_t kCallFailures[] = {10049, 10050, 10051, 10060, 10061, 10064, 10065};

constexpr Milliseconds kEndlessStay = 5 * kMinute;  // enough to take 64 MiB, 64 KiB a tick
constexpr std::size_t kEndlessWindow = 65'536;      // all but so many of the bytes that have left were taken
constexpr Milliseconds kBacklogStay = 6 * kHour;    // enough to handle 100,000 frames, one a tick
constexpr int kBacklogFrames = 100'000;
constexpr Milliseconds kCallPause = 30 * kSecond;  // until a link whose client was closed listens again
constexpr Milliseconds kDripPause = 9 * kSecond;
constexpr Milliseconds kDripStay = 5 * kMinute;
constexpr Milliseconds kTransitMax = 2 * kMinute;  // of a frame, its delay included

void delay(FaultPlan& plan, Conditions& conditions) {
  conditions.delay = plan.duration(0, 90 * kSecond);
  conditions.jitter = plan.duration(0, 5 * kSecond);
}

void fragment(FaultPlan& plan, Conditions& conditions) {
  conditions.fragmentMax = static_cast<std::uint32_t>(plan.duration(1, 40));
  conditions.quantum = plan.duration(1, 500);
}

void narrowWindow(FaultPlan& plan, Conditions& conditions) {
  conditions.window = static_cast<std::size_t>(plan.duration(1, 4'000));
}

void takePartially(FaultPlan& plan, Conditions& conditions) {
  conditions.takenAtOnce = static_cast<std::size_t>(plan.duration(1, 60));
}

Damage anyDamage(FaultPlan& plan) {
  Damage damage;
  for (std::uint32_t* chance : {&damage.flip, &damage.drop, &damage.insert, &damage.lose, &damage.repeat,
                                &damage.old, &damage.truncate}) {
    if (plan.random.chance(400)) *chance = static_cast<std::uint32_t>(plan.duration(1, 300));
  }
  damage.repair = static_cast<std::uint32_t>(plan.random.below(500));
  return damage;
}

void damageFrames(FaultPlan& plan, std::vector<Tamper>& tampers, Address port) {
  const Damage damage = anyDamage(plan);
  tampers.emplace_back(
      [&plan, port, tamper = Damaging(damage, plan.random.split())](std::string_view sent) mutable {
        std::vector<Piece> pieces = tamper(sent);
        const bool whole =
            pieces.size() == 1 && pieces[0].bytes == sent && pieces[0].ending == Piece::Ending::None;
        if (!whole) plan.affect(Cause::Damaged, port, kTransitMax);
        return pieces;
      });
}

void cutFrames(FaultPlan& plan, std::vector<Tamper>& tampers, Address) {
  const Milliseconds pause = plan.duration(1, 9 * kSecond);
  tampers.push_back(plan.random.chance(800) ? cuttingAt(plan.random.below(40), pause) : dripping(pause));
}

void failCall(FaultPlan& plan, CallFate& fate) {
  fate.code = plan.oneOf(kCallFailures);
  fate.delay = plan.duration(0, 70 * kSecond);
}

void hangCall(FaultPlan& plan, CallFate& fate) {
  fate.hangs = plan.random.chance(300);
  fate.delay = plan.duration(kSecond, 2 * kMinute);
}

// Nothing arrives for a while, in one direction or both.
bool hold(FaultPlan& plan) {
  const auto connection = plan.anyConnection();
  if (!connection) return false;
  const auto which = plan.random.below(3);
  if (which != 0) connection->caller.hold();
  if (which != 1) connection->called.hold();
  plan.later(plan.duration(500, 5 * kMinute), [held = std::weak_ptr<Connection>(connection)] {
    if (const auto still = held.lock()) still->release();
  });
  return true;
}

// One end learns that the connection is broken, the other does not.
bool halfOpen(FaultPlan& plan) {
  const auto connection = plan.anyConnection();
  if (!connection) return false;
  const bool callerLearns = plan.random.chance(500);
  (callerLearns ? connection->caller : connection->called).hold();
  (callerLearns ? connection->called : connection->caller).cut(kConnectionReset);
  return true;
}

// A connection, or all of them, end at either end or both, in the orderly way or not.
bool breakConnections(FaultPlan& plan) {
  if (plan.random.chance(100)) {
    plan.count("break-all");
    for (const auto& connection : plan.site.world().network().connections())
      connection->cutBoth(plan.oneOf(kEndings));
    return true;
  }
  const auto connection = plan.anyConnection();
  if (!connection) return false;
  const std::int16_t code = plan.oneOf(kEndings);
  if (plan.random.chance(300)) {
    connection->cutBoth(code);
  } else {
    (plan.random.chance(500) ? connection->caller : connection->called).cut(code);
  }
  return true;
}

void sendHostile(FaultPlan& plan, ScriptedPeer& peer, int identifier) {
  plan.count("hostile");
  for (auto pieces = 1 + plan.random.below(5); pieces > 0; --pieces) {
    const Attack& attack = anyAttack(plan.random);
    plan.count(attack.name);
    peer.send(attack.bytes(plan.random, identifier));
  }
}

// What a stranger does once it is connected.
void chooseBehaviour(FaultPlan& plan, ScriptedPeer& peer, int identifier) {
  switch (plan.random.below(5)) {
    case 0:
      return peer.answerAsLink(identifier);
    case 1:
      return peer.setReading(false);
    case 2:
      peer.onFrame = [&peer](const std::string& frame) { peer.send(frame); };
      return;
    case 3:
      peer.onConnect = [&peer] { peer.close(); };
      return;
    default:
      if (plan.enabled().contains("hostile"))
        peer.onConnect = [&plan, &peer, identifier] { sendHostile(plan, peer, identifier); };
  }
}

// Strangers call some link: one, or a storm of them.
bool callAsStrangers(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  const std::int32_t port = plan.anyPort();
  const auto callers = plan.random.chance(200) ? plan.duration(2, 50) : 1;
  if (callers > 1) plan.count("caller-storm");
  for (Milliseconds i = 0; i < callers; ++i) {
    const auto peer = plan.engagePeer({place.host().machine, port}, plan.duration(0, 100 * kSecond));
    chooseBehaviour(plan, *peer, port - kPortOfIdentifier0);
    peer->call(port);
  }
  return true;
}

// A stranger listens on a link's port.
bool occupyPort(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  const std::int32_t port = plan.anyPort();
  if (plan.site.world().network().listening({place.host().machine, port})) return false;
  const auto peer = plan.engagePeer({place.host().machine, port}, plan.duration(kSecond, 5 * kMinute));
  chooseBehaviour(plan, *peer, port - kPortOfIdentifier0);
  peer->listen(port);
  return true;
}

// A stranger calls some link, and acts as soon as it is connected.
bool callLink(FaultPlan& plan, Milliseconds stay,
              void (*act)(FaultPlan& plan, ScriptedPeer& peer, int identifier)) {
  Place& place = plan.anyPlace();
  const std::int32_t port = plan.anyPort();
  const auto peer = plan.engagePeer({place.host().machine, port}, stay);
  peer->onConnect = [&plan, act, caller = peer.get(), identifier = port - kPortOfIdentifier0] {
    act(plan, *caller, identifier);
  };
  peer->call(port);
  return false;
}

bool attack(FaultPlan& plan) {
  return callLink(plan, plan.duration(500, 2 * kMinute), sendHostile);
}

std::string hostileText(int identifier) {
  return wire::frame(wire::message(identifier, {std::string(1, kHostileMark), "9CMD", "9."}));
}

// The first bytes of a text, one at a time.
bool sendSlowly(FaultPlan& plan) {
  return callLink(plan, kDripStay, [](FaultPlan& here, ScriptedPeer& peer, int identifier) {
    here.count("drip");
    peer.end()->tamper = dripping(kDripPause);
    peer.send(hostileText(identifier));
  });
}

// A link that has a port, and its host.
struct PortUser {
  Place& place;
  std::int16_t link;
};

// Each port of a machine has a client and a server.
PortUser userOf(FaultPlan& plan, Address port, bool client) {
  for (const auto& place : plan.site.places()) {
    const auto& links = place->plan();
    const auto user = std::ranges::find_if(links, [&](const LinkPlan& link) {
      return link.tcp && link.client == client && kPortOfIdentifier0 + link.identifier == port.port;
    });
    if (place->host().machine == port.machine && user != links.end())
      return {*place, static_cast<std::int16_t>(user - links.begin() + 1)};
  }
  throw std::out_of_range("no link has that port");
}

// A stranger has some server link to itself: its client is closed for `stay` and half a minute before.
bool callAlone(FaultPlan& plan, Milliseconds stay,
               std::function<void(const std::shared_ptr<ScriptedPeer>& peer, PortUser server)> act) {
  const Address port{plan.anyPlace().host().machine, plan.anyPort()};
  const PortUser client = userOf(plan, port, true);
  if (client.place.host().running()) client.place.host().quarn().Chiudi(client.link);
  plan.later(stay + kCallPause, [client] {
    if (client.place.host().running()) client.place.host().quarn().Apri(client.link);
  });
  plan.later(kCallPause, [&plan, port, stay, act = std::move(act)] {
    const auto peer = plan.engagePeer(port, stay);
    peer->onConnect = [&plan, port, act, caller = std::weak_ptr(peer)] {
      act(caller.lock(), userOf(plan, port, false));
    };
    peer->call(port.port);
  });
  return false;
}

// A frame of 1 to 64 MiB without an end. The clock of the host stands meanwhile, so that the link does not
// give up before it has taken all of it.
bool sendEndless(FaultPlan& plan) {
  return callAlone(plan, kEndlessStay, [&plan](const std::shared_ptr<ScriptedPeer>& peer, PortUser server) {
    plan.count("endless");
    VirtualClock& clock = server.place.host().clock;
    clock.setSpeed(0);
    const auto size = static_cast<std::size_t>(plan.duration(1 << 20, 64 << 20));
    peer->end()->conditions = {.window = kEndlessWindow};
    peer->send('\2' + std::string(size, kHostileMark));
    plan.later(kEndlessStay - kCallPause, [&plan, &clock, stranger = std::weak_ptr(peer)] {
      clock.setSpeed(1000);
      const auto still = stranger.lock();
      if (still && still->end() != nullptr && still->end()->unsent() == 0) plan.count("endless-taken");
    });
  });
}

// 100,000 frames at once.
bool sendBacklog(FaultPlan& plan) {
  return callAlone(plan, kBacklogStay, [&plan](const std::shared_ptr<ScriptedPeer>& peer, PortUser server) {
    plan.count("backlog");
    const int identifier = server.place.plan()[static_cast<std::size_t>(server.link - 1)].identifier;
    std::string frames;
    for (int i = 0; i < kBacklogFrames; ++i) frames += hostileText(identifier);
    peer->onFrame = [&plan, answers = 0](const std::string&) mutable {
      if (++answers == kBacklogFrames) plan.count("backlog-taken");
    };
    peer->send(frames);
  });
}

constexpr Fault kFaults[] = {
    {.name = "delay", .direction = {200, 800, delay}},
    {.name = "cut", .direction = {300, 900, fragment}, .pieces = {50, 200, cutFrames}},
    {.name = "damage", .frames = {100, 500, damageFrames}},
    {.name = "window", .direction = {100, 500, narrowWindow}},
    {.name = "partial", .direction = {100, 500, takePartially}},
    {.name = "hold", .times = {20 * kMinute, hold}},
    {.name = "half-open", .times = {30 * kMinute, halfOpen}},
    {.name = "break", .kinds = {"break-all"}, .times = {15 * kMinute, breakConnections}},
    {.name = "refuse", .call = {50, 300, failCall}},
    {.name = "hang", .call = {50, 300, hangCall}},
    {.name = "callers", .kinds = {"caller-storm"}, .times = {30 * kMinute, callAsStrangers}},
    {.name = "squat", .times = {20 * kMinute, occupyPort}},
    {.name = "hostile",
     .kinds = {"rubbish", "flood", "tiny-frame", "empty-frame", "any-count", "limit-message", "word-mix",
               "probes", "forged-report", "unfinished"},
     .times = {30 * kMinute, attack}},
    {.name = "drip", .generation = 4, .times = {120 * kMinute, sendSlowly}},
    {.name = "endless", .large = true, .kinds = {"endless-taken"}, .times = {240 * kMinute, sendEndless}},
    {.name = "backlog", .large = true, .kinds = {"backlog-taken"}, .times = {480 * kMinute, sendBacklog}},
};

}  // namespace

std::span<const Fault> networkFaults() {
  return kFaults;
}

}  // namespace quarnex::simulation
