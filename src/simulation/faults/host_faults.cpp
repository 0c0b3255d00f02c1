#include "simulation/faults/host_faults.h"

#include <limits>
#include <optional>
#include <utility>

#include "quarnex/failure.h"

namespace quarnex::simulation {
namespace {

constexpr Milliseconds kSecond = 1000;
constexpr Milliseconds kMinute = 60 * kSecond;
constexpr Milliseconds kHour = 60 * kMinute;
constexpr Milliseconds kDay = 24 * kHour;
constexpr Milliseconds kYear = 365 * kDay;
constexpr std::uint32_t kFewLinks = 50;
constexpr int kAddedLinksMax = 5;
constexpr Milliseconds kFastestPace = 150;  // between two ticks

constexpr std::int32_t kFailureNumbers[] = {5,     10004, 10009, 10013, 10014, 10022, 10024, 10035, 10036,
                                            10038, 10048, 10049, 10050, 10051, 10053, 10054, 10055, 10057,
                                            10058, 10060, 10061, 10064, 10065, 10091, -7,    70'000};
constexpr std::int16_t kEventCodes[] = {0, 0, 10038, 10048, 10053, 10054, 10060, 10061, 10065, 10091};
constexpr SocketArray kArrays[] = {SocketArray::ClientSocket, SocketArray::ServerSocket,
                                   SocketArray::SrvAccept};
// Seconds before the end of a year, of summer time and of what 32 bits can count.
constexpr std::pair<Kind, std::int64_t> kMemorableSeconds[] = {
    {Kind::YearsEnd, 1'798'761'570}, {Kind::SummersEnd, 1'806'195'570}, {Kind::Year2038, 2'147'483'617}};

std::optional<OperationFault> judge(Scene& scene, const ServiceCall& call) {
  if (!scene.strikes(Fault::Operations, 1, isRead(call.operation) ? 5 : 30)) return std::nullopt;
  return OperationFault{scene.oneOf(kFailureNumbers), "simulated failure", scene.random.chance(500)};
}

void raiseAt(Scene& scene, Host& host, std::int16_t index) {
  constexpr EventKind kinds[] = {EventKind::Close, EventKind::Close, EventKind::Receive, EventKind::Connect};
  const EventKind kind = scene.oneOf(kinds);
  const std::int16_t code = scene.oneOf(kEventCodes);
  const bool ends = kind != EventKind::Connect || code != 0;  // a connection does not come out of the blue
  if (ends && host.sockets.raise(scene.oneOf(kArrays), index, kind, code)) scene.happened(Fault::Raise);
}

// A turn visits every link. Among many links fewer operations have one inside, so that a step does not cost
// the square of their number.
void nest(Scene& scene, Host& host, const ServiceCall& call) {
  const auto links = static_cast<std::uint32_t>(scene.site.tcpLinks());
  if (links > kFewLinks && scene.random.below(links) >= kFewLinks) return;
  if (!scene.strikes(Fault::Nesting, 5, 200)) return;
  if (scene.mix.has(Fault::Raise) && scene.random.chance(200)) return raiseAt(scene, host, call.socket.index);
  host.turn();
}

void openOrCloseLog(Scene& scene, Host& host) {
  try {
    scene.random.chance(600) ? host.quarn().AttivaLog() : host.quarn().DisattivaLog(0);
  } catch (const Failure&) {
    // the application goes on without a log
  }
}

// Two logs in one second: the second empties the first.
void logAnew(Host& host) {
  try {
    host.quarn().DisattivaLog(0);
    host.quarn().AttivaLog();
  } catch (const Failure&) {
    // the application goes on without a log
  }
}

void mend(Disk& disk) {
  disk.room = std::numeric_limits<std::size_t>::max();
  disk.failingWrite = 0;
  disk.beforeWrite = nullptr;
}

Milliseconds eitherWay(Scene& scene, Milliseconds high) {
  const Milliseconds by = scene.duration(kSecond, high);
  return scene.random.chance(500) ? by : -by;
}

void shutDown(Scene& scene, Place& place) {
  scene.happened(Kind::HostLeaves);
  place.host().quarn().Uscita();
  scene.later(scene.duration(kSecond, 2 * kMinute), [&place] { place.start(); });
}

}  // namespace

void afflictHost(Scene& scene, Host& host) {
  if (scene.mix.has(Fault::Operations))
    host.faults.judge = [&scene](const ServiceCall& call) { return judge(scene, call); };
  if (scene.mix.has(Fault::Nesting)) {
    host.faults.inside = [&scene, &host](const ServiceCall& call) { nest(scene, host, call); };
    host.faults.insideDepthMax = static_cast<int>(scene.random.between(1, 3));
  }
  if (scene.strikes(Fault::Disk, 400, 1000))
    host.disk.failingWrite = static_cast<std::uint64_t>(scene.duration(1, 10'000));
  if (scene.strikes(Fault::Events, 400, 1000)) {
    host.sockets.trouble = {scene.duration(0, 5'000), static_cast<std::uint32_t>(scene.duration(0, 200)),
                            static_cast<std::uint32_t>(scene.duration(0, 200)), scene.random.chance(500)};
  }
}

void relieveHost(Place& place) {
  Host& host = place.host();
  host.faults.clear();
  host.sockets.trouble = {};
  host.sockets.descriptorsMax = std::numeric_limits<int>::max();
  mend(host.disk);
  host.clock.calm();
  host.timer.setPace(0, 0);
  place.setPolling(true);
  if (!host.running() || !place.sound()) place.start();
  place.open();
}

void starve(Scene& scene) {
  scene.happened(Fault::Descriptors);
  Host& host = scene.anyHost();
  host.sockets.descriptorsMax = host.sockets.descriptors() + static_cast<int>(scene.random.below(2));
  scene.later(scene.duration(kSecond, 5 * kMinute),
              [&host] { host.sockets.descriptorsMax = std::numeric_limits<int>::max(); });
}

void raiseEvent(Scene& scene) {
  Place& place = scene.anyPlace();
  if (place.host().running()) raiseAt(scene, place.host(), scene.anyLink(place));
}

void spoilDisk(Scene& scene) {
  Host& host = scene.anyHost();
  if (!host.running()) return;
  scene.happened(Fault::Disk);
  openOrCloseLog(scene, host);
  switch (scene.random.below(6)) {
    case 5:
      scene.happened(Kind::LogAnew);
      logAnew(host);
      break;
    case 4:
      scene.happened(Kind::LogRenamed);
      host.log.rename("renamed.txt");
      break;
    case 3:
      scene.happened(Kind::DiskSlow);
      host.disk.beforeWrite = [&loop = host.loop, by = scene.duration(10, 2 * kSecond)] { loop.stall(by); };
      break;
    case 0:
      scene.happened(Kind::DiskFull);
      host.disk.room = static_cast<std::size_t>(scene.duration(0, 10'000));
      break;
    case 1:
      scene.happened(Kind::DiskRefuses);
      host.disk.failingWrite = static_cast<std::uint64_t>(scene.duration(1, 100));
      break;
    default:
      scene.happened(Kind::LogRemoved);
      host.log.removeAll();
  }
  scene.later(scene.duration(kSecond, kHour), [&host] {
    host.disk.room = std::numeric_limits<std::size_t>::max();
    host.disk.beforeWrite = nullptr;
  });
}

void jumpForward(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.happened(Fault::ClockForward);
  const auto& [kind, second] = scene.oneOf(kMemorableSeconds);
  const std::int64_t ahead = second - clock.now().second;
  if (ahead > 0 && scene.random.chance(50)) {
    scene.happened(kind);
    return clock.jump(ahead * kSecond);
  }
  const Milliseconds by = scene.duration(kSecond, scene.random.chance(100) ? 40 * kDay : 2 * kHour);
  if (by > kDay) scene.happened(Kind::DaysForward);
  clock.jump(by);
}

void jumpBack(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.happened(Fault::ClockBack);
  const Milliseconds by = scene.duration(kSecond, scene.random.chance(10) ? kDay : 5 * kMinute);
  if (by > kDay / 2) scene.happened(Kind::DayBack);
  clock.jump(-by);
}

void changeSpeed(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.happened(Fault::ClockSpeed);
  const bool stands = scene.random.chance(300);
  if (stands) scene.happened(Kind::ClockStands);
  clock.setSpeed(stands ? 0 : static_cast<std::int32_t>(scene.random.between(500, 2000)));
  scene.later(scene.duration(kSecond, 10 * kMinute), [&clock] { clock.setSpeed(1000); });
}

void strobe(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.happened(Fault::ClockStrobe);
  clock.strobe(eitherWay(scene, kHour));
  scene.later(scene.duration(kSecond, kMinute), [&clock] { clock.strobe(0); });
}

void jumpInside(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.happened(Fault::ClockInside);
  const std::uint64_t readings = scene.random.below(100);
  clock.jumpAfterReadings(readings, eitherWay(scene, 2 * kMinute));
}

void changeSummerTime(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.happened(Fault::Summer);
  const auto hours = static_cast<std::int32_t>(scene.random.between(-12, 14));
  clock.setUtcOffset(hours * 3600, {clock.now().second + scene.random.between(0, 60)});
}

void stall(Scene& scene) {
  Loop& loop = scene.anyHost().loop;
  scene.happened(Fault::Stall);
  const Milliseconds by =
      scene.random.chance(5) ? scene.random.between(kHour, 2 * kDay) : scene.duration(kSecond, 3 * kMinute);
  if (by > kDay) scene.happened(Kind::StallOverDay);
  loop.stall(by);
}

// Where paces change often, a host only ever changes from one to the next.
void changePace(Scene& scene) {
  SimulatedTimer& timer = scene.anyHost().timer;
  scene.happened(Fault::Pace);
  timer.setPace(kFastestPace, scene.random.between(kFastestPace, 5 * kSecond));
  if (scene.heavy.has(Fault::Pace)) return;
  scene.later(scene.duration(kSecond, 10 * kMinute), [&timer] { timer.setPace(0, 0); });
}

void callHost(Scene& scene) {
  Place& place = scene.anyPlace();
  if (!place.host().running()) return;
  scene.happened(Fault::HostCalls);
  QuarnSocket& quarn = place.host().quarn();
  const std::int16_t link = scene.anyLink(place);
  switch (scene.random.below(8)) {
    case 0:
      scene.happened(Kind::HostCloses);
      quarn.Chiudi(link);
      return scene.later(scene.duration(100, 2 * kMinute), [&place, link] {
        if (place.host().running()) place.host().quarn().Apri(link);
      });
    case 1:
      return quarn.Apri(link);
    case 2:
      scene.happened(Kind::HostEmpties);
      return quarn.Invia(link, "VUOTABUFFER");
    case 3:
      return quarn.AttivaDebug(link);
    case 4:
      return quarn.DisattivaDebug(link);
    case 5:
      static_cast<void>(quarn.GetDebug(link));
      return;
    case 6:
      return openOrCloseLog(scene, place.host());
    default:
      if (scene.random.chance(100)) shutDown(scene, place);
  }
}

void restart(Scene& scene) {
  scene.happened(Fault::Restart);
  const bool both = scene.random.chance(200);
  if (both) scene.happened(Kind::RestartBoth);
  Place& chosen = scene.anyPlace();
  for (const auto& place : scene.site.places()) {
    if (place.get() != &chosen && !(both && place->host().machine == chosen.host().machine)) continue;
    place->host().stop();
    const bool shuffled = scene.random.chance(500);
    if (shuffled) scene.happened(Kind::RestartShuffled);
    scene.later(scene.duration(0, kMinute), [&place = *place, shuffled] { place.start(shuffled); });
  }
}

void goDeaf(Scene& scene) {
  Place& place = scene.anyPlace();
  scene.happened(Fault::Deaf);
  place.setPolling(false);
  scene.later(scene.duration(kMinute, kHour), [&place] { place.setPolling(true); });
}

// Those beyond 5000 push the oldest out of the queue.
void burst(Scene& scene) {
  Place& place = scene.anyPlace();
  const std::int16_t link = scene.anyLink(place);
  const auto texts = static_cast<int>(scene.random.between(5001, 6000));
  if (!place.host().running()) return;
  scene.happened(Fault::Burst);
  place.send(link, texts);
}

// A link without a peer: clients and servers that are added have no identifier in common. Two that met would
// be a pair whose time to leave nothing bounds.
void addLink(Scene& scene) {
  Place& place = scene.anyPlace();
  const bool client = scene.random.chance(500);
  const int nth = 2 * static_cast<int>(scene.random.below(kAddedLinksMax)) + (client ? 1 : 2);
  const int added = scene.site.tcpLinks() + nth;
  if (!place.host().running() || added >= kTcpLinksMax) return;
  if (place.host().library().ConnectionCount >= std::ssize(place.plan()) + kAddedLinksMax) return;
  scene.happened(Fault::Add);
  QuarnSocket& quarn = place.host().quarn();
  quarn.Apri(quarn.Add("ABC", static_cast<std::int16_t>(added), client, true));
}

void leap(Scene& scene) {
  VirtualClock& clock = scene.anyHost().clock;
  scene.later(kDay - clock.now().second * kSecond % kDay, [&scene, &clock] {
    if (clock.now().second * kSecond % kDay != 0) return;  // it was set meanwhile
    scene.happened(Fault::Leap);
    clock.jump(-kSecond);
  });
}

void jumpByMonths(Scene& scene) {
  scene.happened(Fault::ClockYear);
  scene.anyHost().clock.jump(kDay * scene.random.between(30, kYear / kDay));
}

}  // namespace quarnex::simulation
