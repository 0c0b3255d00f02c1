#include "simulation/faults/network_faults.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "simulation/faults/tampering.h"
#include "simulation/peers/hostile_bytes.h"
#include "simulation/peers/wire_format.h"

namespace quarnex::simulation {
namespace {

constexpr std::int16_t kEndings[] = {0, 10050, 10052, 10053, 10054, 10060};
constexpr std::int16_t kCallFailures[] = {10049, 10050, 10051, 10060, 10061, 10064, 10065};

constexpr Milliseconds kEndlessStay = 300'000;     // enough to take 64 MiB, 64 KiB a tick
constexpr std::size_t kEndlessWindow = 65'536;     // so that what has left was taken, but for so much
constexpr Milliseconds kBacklogStay = 21'600'000;  // enough to handle 100,000 frames, one a tick
constexpr Milliseconds kCallPause = 30'000;        // until a link whose client was closed listens again
constexpr Milliseconds kDripPause = 9'000;
constexpr Milliseconds kDripStay = 300'000;
constexpr Milliseconds kLongestWay = 120'000;  // of a frame, its delay included
constexpr int kBacklogFrames = 100'000;

Conditions anyConditions(Scene& scene) {
  Conditions conditions;
  if (scene.strikes(Fault::Delay, 200, 800)) {
    conditions.delay = scene.duration(0, 90'000);
    conditions.jitter = scene.duration(0, 5'000);
  }
  if (scene.strikes(Fault::Cut, 300, 900)) {
    conditions.fragmentMax = static_cast<std::uint32_t>(scene.duration(1, 40));
    conditions.quantum = scene.duration(1, 500);
  }
  if (scene.strikes(Fault::Window, 100, 500))
    conditions.window = static_cast<std::size_t>(scene.duration(1, 4'000));
  if (scene.strikes(Fault::Partial, 100, 500))
    conditions.takenAtOnce = static_cast<std::size_t>(scene.duration(1, 60));
  return conditions;
}

Damage anyDamage(Scene& scene) {
  Damage damage;
  for (std::uint32_t* chance : {&damage.flip, &damage.drop, &damage.insert, &damage.lose, &damage.repeat,
                                &damage.old, &damage.truncate}) {
    if (scene.random.chance(400)) *chance = static_cast<std::uint32_t>(scene.duration(1, 300));
  }
  damage.repair = static_cast<std::uint32_t>(scene.random.below(500));
  return damage;
}

// Tells when it does something to a frame.
Tamper told(Scene& scene, Address port, Tamper tamper) {
  return [&scene, port, tamper = std::move(tamper)](std::string_view sent) {
    std::vector<Piece> pieces = tamper(sent);
    const bool whole =
        pieces.size() == 1 && pieces[0].bytes == sent && pieces[0].ending == Piece::Ending::None;
    if (!whole) scene.touch(Fault::Damage, port, kLongestWay);
    return pieces;
  };
}

std::vector<Tamper> anyTampers(Scene& scene, Address port) {
  std::vector<Tamper> tampers;
  if (scene.strikes(Fault::Damage, 100, 500)) {
    const Damage damage = anyDamage(scene);
    tampers.push_back(told(scene, port, damaging(damage, scene.random.split())));
  }
  if (scene.strikes(Fault::Cut, 50, 200)) {
    const Milliseconds pause = scene.duration(1, 9'000);
    tampers.push_back(scene.random.chance(800) ? cuttingAt(scene.random.below(40), pause) : dripping(pause));
  }
  return tampers;
}

void afflictEnd(Scene& scene, End& end, Address port) {
  end.conditions = anyConditions(scene);
  auto tampers = anyTampers(scene, port);
  if (!tampers.empty()) end.tamper = inTurn(std::move(tampers));
}

void sendHostile(Scene& scene, ScriptedPeer& peer, int identifier) {
  scene.happened(Fault::Hostile);
  for (auto pieces = 1 + scene.random.below(5); pieces > 0; --pieces) {
    const Attack& attack = anyAttack(scene.random);
    scene.happened(attack.kind);
    peer.send(attack.bytes(scene.random, identifier));
  }
}

// A stranger's manners once it is connected.
void behave(Scene& scene, ScriptedPeer& peer, int identifier) {
  switch (scene.random.below(5)) {
    case 0:
      return peer.answerAsLink(identifier);
    case 1:
      return peer.setReading(false);
    case 2:
      peer.onFrame = [&peer](const ScriptedPeer::Received& received) { peer.send(received.frame.bytes); };
      return;
    case 3:
      peer.onConnect = [&peer] { peer.close(); };
      return;
    default:
      if (scene.mix.has(Fault::Hostile))
        peer.onConnect = [&scene, &peer, identifier] { sendHostile(scene, peer, identifier); };
  }
}

// A stranger calls some link, and does so once it is connected.
void callHostile(Scene& scene, Milliseconds stay,
                 void (*deed)(Scene& scene, ScriptedPeer& peer, int identifier)) {
  Place& place = scene.anyPlace();
  const std::int32_t port = scene.anyPort();
  const auto peer = scene.engagePeer({place.host().machine, port}, stay);
  peer->onConnect = [&scene, deed, caller = peer.get(), identifier = port - kPortOfIdentifier0] {
    deed(scene, *caller, identifier);
  };
  peer->call(port);
}

// One of the two links that have a port.
struct Side {
  Place& place;
  std::int16_t link;
};

// Its index there, from 1; 0 if it is on another host.
std::int16_t linkAt(const Place& place, std::int32_t port, bool client) {
  const auto& plan = place.plan();
  const auto found = std::ranges::find_if(plan, [&](const LinkPlan& link) {
    return link.tcp && link.client == client && kPortOfIdentifier0 + link.identifier == port;
  });
  return static_cast<std::int16_t>(found == plan.end() ? 0 : found - plan.begin() + 1);
}

// Each port of a machine has both.
Side sideAt(Scene& scene, Address port, bool client) {
  const auto& place = *std::ranges::find_if(scene.site.places(), [&](const auto& one) {
    return one->host().machine == port.machine && linkAt(*one, port.port, client) != 0;
  });
  return {*place, linkAt(*place, port.port, client)};
}

// A stranger has some server link to itself: its client is closed for so long, and half a minute before.
void callAlone(Scene& scene, Milliseconds stay,
               std::function<void(const std::shared_ptr<ScriptedPeer>& peer, Side server)> deed) {
  const Address port{scene.anyPlace().host().machine, scene.anyPort()};
  const Side client = sideAt(scene, port, true);
  if (client.place.host().running()) client.place.host().quarn().Chiudi(client.link);
  scene.later(stay + kCallPause, [client] {
    if (client.place.host().running()) client.place.host().quarn().Apri(client.link);
  });
  scene.later(kCallPause, [&scene, port, stay, deed = std::move(deed)] {
    const auto peer = scene.engagePeer(port, stay);
    peer->onConnect = [&scene, port, deed, caller = std::weak_ptr(peer)] {
      deed(caller.lock(), sideAt(scene, port, false));
    };
    peer->call(port.port);
  });
}

End& eitherEnd(Scene& scene, Connection& connection) {
  return scene.random.chance(500) ? connection.caller : connection.called;
}

}  // namespace

void afflictConnection(Scene& scene, Connection& connection) {
  afflictEnd(scene, connection.caller, connection.port);
  afflictEnd(scene, connection.called, connection.port);
}

CallFate fateOf(Scene& scene) {
  CallFate fate;
  if (scene.strikes(Fault::Refuse, 50, 300)) {
    fate.code = scene.oneOf(kCallFailures);
    fate.delay = scene.duration(0, 70'000);
  } else if (scene.strikes(Fault::Hang, 50, 300)) {
    fate.hangs = scene.random.chance(300);
    fate.delay = scene.duration(1'000, 120'000);
  }
  return fate;
}

void holdOne(Scene& scene) {
  const auto connection = scene.anyConnection();
  if (!connection) return;
  scene.happened(Fault::Hold);
  const auto which = scene.random.below(3);
  if (which != 0) connection->caller.hold();
  if (which != 1) connection->called.hold();
  scene.later(scene.duration(500, 300'000), [held = std::weak_ptr<Connection>(connection)] {
    if (const auto still = held.lock()) still->release();
  });
}

void halfOpenOne(Scene& scene) {
  const auto connection = scene.anyConnection();
  if (!connection) return;
  scene.happened(Fault::HalfOpen);
  const bool callerLearns = scene.random.chance(500);
  (callerLearns ? connection->caller : connection->called).hold();
  (callerLearns ? connection->called : connection->caller).cut(kConnectionReset);
}

void breakSome(Scene& scene) {
  if (scene.random.chance(100)) {
    scene.happened(Fault::Break);
    scene.happened(Kind::BreakAll);
    for (const auto& connection : scene.site.world().network().connections())
      connection->cutBoth(scene.oneOf(kEndings));
  } else if (const auto connection = scene.anyConnection()) {
    scene.happened(Fault::Break);
    const std::int16_t code = scene.oneOf(kEndings);
    scene.random.chance(300) ? connection->cutBoth(code) : eitherEnd(scene, *connection).cut(code);
  }
}

void callIn(Scene& scene) {
  Place& place = scene.anyPlace();
  const std::int32_t port = scene.anyPort();
  scene.happened(Fault::Callers);
  const auto callers = scene.random.chance(200) ? scene.duration(2, 50) : 1;
  if (callers > 1) scene.happened(Kind::CallerStorm);
  for (Milliseconds i = 0; i < callers; ++i) {
    const auto peer = scene.engagePeer({place.host().machine, port}, scene.duration(0, 100'000));
    behave(scene, *peer, port - kPortOfIdentifier0);
    peer->call(port);
  }
}

void squat(Scene& scene) {
  Place& place = scene.anyPlace();
  const std::int32_t port = scene.anyPort();
  if (scene.site.world().network().listening({place.host().machine, port})) return;
  scene.happened(Fault::Squat);
  const auto peer = scene.engagePeer({place.host().machine, port}, scene.duration(1'000, 300'000));
  behave(scene, *peer, port - kPortOfIdentifier0);
  peer->listen(port);
}

void attack(Scene& scene) {
  callHostile(scene, scene.duration(500, 120'000), sendHostile);
}

// The first bytes of a text, one at a time.
void drip(Scene& scene) {
  callHostile(scene, kDripStay, [](Scene& here, ScriptedPeer& peer, int identifier) {
    here.happened(Fault::Drip);
    peer.end()->tamper = dripping(kDripPause);
    peer.send(wire::frame(wire::message(identifier, {std::string(1, kHostileMark), "9CMD", "9."})));
  });
}

// The clock of the host stands meanwhile: such a link is given up when the time has come.
void sendEndless(Scene& scene) {
  callAlone(scene, kEndlessStay, [&scene](const std::shared_ptr<ScriptedPeer>& peer, Side server) {
    scene.happened(Fault::Endless);
    VirtualClock& clock = server.place.host().clock;
    clock.setSpeed(0);
    const auto size = static_cast<std::size_t>(scene.duration(1 << 20, 64 << 20));
    peer->end()->conditions = {.window = kEndlessWindow};
    peer->send('\2' + std::string(size, kHostileMark));
    scene.later(kEndlessStay - kCallPause, [&scene, &clock, stranger = std::weak_ptr(peer)] {
      clock.setSpeed(1000);
      const auto still = stranger.lock();
      if (still && still->end() != nullptr && still->end()->unsent() == 0) scene.happened(Kind::EndlessTaken);
    });
  });
}

void sendBacklog(Scene& scene) {
  callAlone(scene, kBacklogStay, [&scene](const std::shared_ptr<ScriptedPeer>& peer, Side server) {
    scene.happened(Fault::Backlog);
    const int identifier = server.place.plan()[static_cast<std::size_t>(server.link - 1)].identifier;
    const std::string frame =
        wire::frame(wire::message(identifier, {std::string(1, kHostileMark), "9CMD", "9."}));
    std::string frames;
    for (int i = 0; i < kBacklogFrames; ++i) frames += frame;
    peer->onFrame = [&scene, answers = 0](const ScriptedPeer::Received&) mutable {
      if (++answers == kBacklogFrames) scene.happened(Kind::BacklogTaken);
    };
    peer->send(frames);
  });
}

}  // namespace quarnex::simulation
