// The faults of a host's own: its loop, its process, and calls of its application at any moment.
#include "simulation/faults/fault_plan.h"

namespace quarnex::simulation {
namespace {

constexpr int kAddedLinksMax = 5;
constexpr Milliseconds kTickPauseMin = 150;

// No turn of the loop for 1 second to 2 days.
bool stall(FaultPlan& plan) {
  Loop& loop = plan.anyHost().loop;
  const Milliseconds by =
      plan.random.chance(5) ? plan.random.between(kHour, 2 * kDay) : plan.duration(kSecond, 3 * kMinute);
  if (by > kDay) plan.count("stall-over-day");
  loop.stall(by);
  return true;
}

void turnRarely(FaultPlan& plan, Loop& loop, Milliseconds left) {
  const Milliseconds by = plan.random.between(1, 5 * kSecond);
  loop.stall(by);
  if (left > by) plan.later(by + 1, [&plan, &loop, left, by] { turnRarely(plan, loop, left - by); });
}

// The host is busy: for up to 10 minutes its loop turns only every few seconds, so that the events and the
// tick of that time arrive in one burst.
bool keepBusy(FaultPlan& plan) {
  Loop& loop = plan.anyHost().loop;
  turnRarely(plan, loop, plan.duration(10 * kSecond, 10 * kMinute));
  return true;
}

// Ticks up to 5 seconds apart. Where the fault is heavy, a host goes from one such pace to the next.
bool changePace(FaultPlan& plan) {
  SimulatedTimer& timer = plan.anyHost().timer;
  timer.setPace(kTickPauseMin, plan.random.between(kTickPauseMin, 5 * kSecond));
  if (plan.isHeavy("pace")) return true;
  plan.later(plan.duration(kSecond, 10 * kMinute), [&timer] { timer.setPace(0, 0); });
  return true;
}

void shutDown(FaultPlan& plan, Place& place) {
  plan.count("host-leaves");
  place.host().quarn().Uscita();
  plan.later(plan.duration(kSecond, 2 * kMinute), [&place] { place.start(); });
}

void closeForAWhile(FaultPlan& plan, Place& place, std::int16_t link) {
  plan.count("host-closes");
  place.host().quarn().Chiudi(link);
  plan.later(plan.duration(100, 2 * kMinute), [&place, link] {
    if (place.host().running()) place.host().quarn().Apri(link);
  });
}

void callMethod(FaultPlan& plan, Place& place, std::int16_t link) {
  QuarnSocket& quarn = place.host().quarn();
  switch (plan.random.below(8)) {
    case 0:
      return closeForAWhile(plan, place, link);
    case 1:
      return quarn.Apri(link);
    case 2:
      plan.count("host-empties");
      return quarn.Invia(link, "VUOTABUFFER");
    case 3:
      return quarn.AttivaDebug(link);
    case 4:
      return quarn.DisattivaDebug(link);
    case 5:
      static_cast<void>(quarn.GetDebug(link));
      return;
    case 6:
      return place.host().setLog(plan.random.chance(600));
    default:
      if (plan.random.chance(100)) shutDown(plan, place);
  }
}

bool callHost(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  if (!place.host().running()) return false;
  callMethod(plan, place, plan.anyLink(place));
  return true;
}

// One host of a pair or both end and start again, possibly with another order of links.
bool restart(FaultPlan& plan) {
  const bool both = plan.random.chance(200);
  if (both) plan.count("restart-both");
  Place& chosen = plan.anyPlace();
  for (const auto& place : plan.site.places()) {
    if (place.get() != &chosen && !(both && place->host().machine == chosen.host().machine)) continue;
    place->host().stop();
    const bool shuffled = plan.random.chance(500);
    if (shuffled) plan.count("restart-shuffled");
    plan.later(plan.duration(0, kMinute), [&place = *place, shuffled] { place.start(shuffled); });
  }
  return true;
}

// The application takes nothing for a while.
bool stopPolling(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  place.setPolling(false);
  plan.later(plan.duration(kMinute, kHour), [&place] { place.setPolling(true); });
  return true;
}

// Texts beyond 5000 push the oldest out of the queue.
bool overflowQueue(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  const std::int16_t link = plan.anyLink(place);
  const auto texts = static_cast<int>(plan.random.between(5001, 6000));
  if (!place.host().running()) return false;
  place.send(link, texts);
  return true;
}

// A link without a peer: added clients and servers have no identifier in common, for nothing would bound the
// time that a pair of them needs to leave.
bool addLink(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  const bool client = plan.random.chance(500);
  const int nth = 2 * static_cast<int>(plan.random.below(kAddedLinksMax)) + (client ? 1 : 2);
  const int added = plan.site.tcpLinks() + nth;
  if (!place.host().running() || added >= kTcpLinksMax) return false;
  if (place.host().library().ConnectionCount >= std::ssize(place.plan()) + kAddedLinksMax) return false;
  QuarnSocket& quarn = place.host().quarn();
  quarn.Apri(quarn.Add("ABC", static_cast<std::int16_t>(added), client, true));
  return true;
}

constexpr Fault kFaults[] = {
    {.name = "stall", .kinds = {"stall-over-day"}, .times = {120 * kMinute, stall}},
    {.name = "pace", .times = {60 * kMinute, changePace}},
    {.name = "host-calls",
     .kinds = {"host-closes", "host-empties", "host-leaves"},
     .times = {10 * kMinute, callHost}},
    {.name = "restart", .kinds = {"restart-both", "restart-shuffled"}, .times = {60 * kMinute, restart}},
    {.name = "deaf", .times = {60 * kMinute, stopPolling}},
    {.name = "burst", .generation = 2, .times = {720 * kMinute, overflowQueue}},
    {.name = "add", .generation = 2, .times = {240 * kMinute, addLink}},
    {.name = "busy", .generation = 5, .times = {120 * kMinute, keepBusy}},
};

}  // namespace

std::span<const Fault> hostFaults() {
  return kFaults;
}

}  // namespace quarnex::simulation
