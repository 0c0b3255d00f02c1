// The faults of a host's clock: jumps, wrong speed, unsteady readings, local time.
#include <utility>

#include "simulation/faults/fault_plan.h"

namespace quarnex::simulation {
namespace {

// Half a minute before the end of a year, of summer time, and of the seconds that 32 bits can count.
constexpr std::pair<std::string_view, std::int64_t> kMemorableSeconds[] = {
    {"years-end", 1'798'761'570}, {"summers-end", 1'806'195'570}, {"year-2038", 2'147'483'617}};

Milliseconds eitherWay(FaultPlan& plan, Milliseconds high) {
  const Milliseconds by = plan.duration(kSecond, high);
  return plan.random.chance(500) ? by : -by;
}

void jumpForward(FaultPlan& plan, VirtualClock& clock) {
  const auto& [kind, second] = plan.oneOf(kMemorableSeconds);
  const std::int64_t ahead = second - clock.now().second;
  if (ahead > 0 && plan.random.chance(50)) {
    plan.count(kind);
    return clock.jump(ahead * kSecond);
  }
  const Milliseconds by = plan.duration(kSecond, plan.random.chance(100) ? 40 * kDay : 2 * kHour);
  if (by > kDay) plan.count("days-forward");
  clock.jump(by);
}

void jumpBack(FaultPlan& plan, VirtualClock& clock) {
  const Milliseconds by = plan.duration(kSecond, plan.random.chance(10) ? kDay : 5 * kMinute);
  if (by > kDay / 2) plan.count("day-back");
  clock.jump(-by);
}

void changeSpeed(FaultPlan& plan, VirtualClock& clock) {
  const bool stands = plan.random.chance(300);
  if (stands) plan.count("clock-stands");
  clock.setSpeed(stands ? 0 : static_cast<std::int32_t>(plan.random.between(500, 2000)));
  plan.later(plan.duration(kSecond, 10 * kMinute), [&clock] { clock.setSpeed(1000); });
}

// Every second reading is wrong.
void strobe(FaultPlan& plan, VirtualClock& clock) {
  clock.strobe(eitherWay(plan, kHour));
  plan.later(plan.duration(kSecond, kMinute), [&clock] { clock.strobe(0); });
}

// The clock is set between two readings of one step.
void jumpInside(FaultPlan& plan, VirtualClock& clock) {
  const std::uint64_t readings = plan.random.below(100);
  clock.jumpAfterReadings(readings, eitherWay(plan, 2 * kMinute));
}

void changeLocalTime(FaultPlan& plan, VirtualClock& clock) {
  const auto hours = static_cast<std::int32_t>(plan.random.between(-12, 14));
  clock.setUtcOffset(hours * 3600, {clock.now().second + plan.random.between(0, 60)});
}

// A leap second: the last second of a day comes twice, unless the clock has been set by then.
bool repeatLastSecond(FaultPlan& plan) {
  VirtualClock& clock = plan.anyHost().clock;
  plan.later(kDay - clock.now().second * kSecond % kDay, [&plan, &clock] {
    if (clock.now().second * kSecond % kDay != 0) return;
    plan.count("leap");
    clock.jump(-kSecond);
  });
  return false;
}

void jumpByMonths(FaultPlan& plan, VirtualClock& clock) {
  clock.jump(kDay * plan.random.between(30, 365));
}

template <void (*effect)(FaultPlan& plan, VirtualClock& clock)>
bool onAnyClock(FaultPlan& plan) {
  effect(plan, plan.anyHost().clock);
  return true;
}

constexpr Fault kFaults[] = {
    {.name = "clock-forward",
     .kinds = {"years-end", "summers-end", "year-2038", "days-forward"},
     .times = {60 * kMinute, onAnyClock<jumpForward>}},
    {.name = "clock-back", .kinds = {"day-back"}, .times = {60 * kMinute, onAnyClock<jumpBack>}},
    {.name = "clock-speed", .kinds = {"clock-stands"}, .times = {60 * kMinute, onAnyClock<changeSpeed>}},
    {.name = "clock-strobe", .times = {60 * kMinute, onAnyClock<strobe>}},
    {.name = "clock-inside", .times = {60 * kMinute, onAnyClock<jumpInside>}},
    {.name = "summer", .times = {120 * kMinute, onAnyClock<changeLocalTime>}},
    {.name = "leap", .generation = 3, .times = {240 * kMinute, repeatLastSecond}},
    {.name = "clock-year", .generation = 3, .times = {480 * kMinute, onAnyClock<jumpByMonths>}},
};

}  // namespace

std::span<const Fault> clockFaults() {
  return kFaults;
}

}  // namespace quarnex::simulation
