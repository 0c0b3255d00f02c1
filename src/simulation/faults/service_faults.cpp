// The faults of a host's services: operations that fail, events that come wrongly, descriptors and the disk.
#include <limits>

#include "simulation/faults/fault_plan.h"

namespace quarnex::simulation {
namespace {

constexpr std::int32_t kFailureNumbers[] = {5,     10004, 10009, 10013, 10014, 10022, 10024, 10035, 10036,
                                            10038, 10048, 10049, 10050, 10051, 10053, 10054, 10055, 10057,
                                            10058, 10060, 10061, 10064, 10065, 10091, -7,    70'000};
constexpr std::int16_t kEventCodes[] = {0, 0, 10038, 10048, 10053, 10054, 10060, 10061, 10065, 10091};
constexpr SocketArray kArrays[] = {SocketArray::ClientSocket, SocketArray::ServerSocket,
                                   SocketArray::SrvAccept};

void failOperation(FaultPlan& plan, std::optional<OperationFault>& failure) {
  failure = OperationFault{plan.oneOf(kFailureNumbers), "simulated failure", plan.random.chance(500)};
}

// At most one descriptor more for a while.
bool limitDescriptors(FaultPlan& plan) {
  Host& host = plan.anyHost();
  host.sockets.descriptorsMax = host.sockets.descriptors() + static_cast<int>(plan.random.below(2));
  plan.later(plan.duration(kSecond, 5 * kMinute),
             [&host] { host.sockets.descriptorsMax = std::numeric_limits<int>::max(); });
  return true;
}

void disorderEvents(FaultPlan& plan, EventDisorder& disorder) {
  disorder = {plan.duration(0, 5 * kSecond), static_cast<std::uint32_t>(plan.duration(0, 200)),
              static_cast<std::uint32_t>(plan.duration(0, 200)), plan.random.chance(500)};
}

// An event without a reason. It is never a successful connect event: nothing would be connected.
bool raiseAt(FaultPlan& plan, Host& host, std::int16_t index) {
  constexpr EventKind kinds[] = {EventKind::Close, EventKind::Close, EventKind::Receive, EventKind::Connect};
  const EventKind kind = plan.oneOf(kinds);
  const std::int16_t code = plan.oneOf(kEventCodes);
  if (kind == EventKind::Connect && code == 0) return false;
  return host.sockets.raise(plan.oneOf(kArrays), index, kind, code);
}

bool raiseEvent(FaultPlan& plan) {
  Place& place = plan.anyPlace();
  return place.host().running() && raiseAt(plan, place.host(), plan.anyLink(place));
}

void turnInside(FaultPlan& plan, Host& host, const ServiceCall& call) {
  if (plan.enabled().contains("raise") && plan.random.chance(200)) {
    if (raiseAt(plan, host, call.socket.index)) plan.count("raise");
  } else {
    host.turn();
  }
}

void refuseLaterWrite(FaultPlan& plan, Disk& disk) {
  disk.failingWrite = static_cast<std::uint64_t>(plan.duration(1, 10'000));
}

void makeSlow(FaultPlan& plan, Host& host) {
  host.disk.beforeWrite = [&loop = host.loop, by = plan.duration(10, 2 * kSecond)] { loop.stall(by); };
}

// The disk is full, refuses a write or is slow, or the log is renamed, removed or opened again.
bool spoilDisk(FaultPlan& plan) {
  Host& host = plan.anyHost();
  if (!host.running()) return false;
  host.setLog(plan.random.chance(600));
  switch (plan.random.below(6)) {
    case 0:
      plan.count("disk-full");
      host.disk.room = static_cast<std::size_t>(plan.duration(0, 10'000));
      break;
    case 1:
      plan.count("disk-refuses");
      host.disk.failingWrite = static_cast<std::uint64_t>(plan.duration(1, 100));
      break;
    case 2:
      plan.count("log-removed");
      host.log.removeAll();
      break;
    case 3:
      plan.count("disk-slow");
      makeSlow(plan, host);
      break;
    case 4:
      plan.count("log-renamed");
      host.log.rename("renamed.txt");
      break;
    default:
      plan.count("log-anew");
      host.setLog(false);  // two logs in one second: the second empties the first
      host.setLog(true);
  }
  plan.later(plan.duration(kSecond, kHour), [&host] {
    host.disk.room = std::numeric_limits<std::size_t>::max();
    host.disk.beforeWrite = nullptr;
  });
  return true;
}

constexpr Fault kFaults[] = {
    {.name = "operations", .operation = {1, 30, failOperation}, .read = {1, 5, failOperation}},
    {.name = "descriptors", .times = {30 * kMinute, limitDescriptors}},
    {.name = "events", .events = {400, 1000, disorderEvents}},
    {.name = "raise", .times = {30 * kMinute, raiseEvent}},
    {.name = "nesting", .inside = {5, 200, turnInside}},
    {.name = "disk",
     .kinds = {"log-anew", "log-renamed", "log-removed", "disk-slow", "disk-full", "disk-refuses"},
     .disk = {400, 1000, refuseLaterWrite},
     .times = {30 * kMinute, spoilDisk}},
};

}  // namespace

std::span<const Fault> serviceFaults() {
  return kFaults;
}

}  // namespace quarnex::simulation
