#include "simulation/faults/fault.h"

#include <algorithm>
#include <iterator>

namespace quarnex::simulation {
namespace {

constexpr std::string_view kNames[] = {
    "delay",       "cut",          "damage",       "window",  "partial", "hold",          "half-open",
    "break",       "refuse",       "hang",         "callers", "squat",   "hostile",       "operations",
    "descriptors", "events",       "raise",        "nesting", "disk",    "clock-forward", "clock-back",
    "clock-speed", "clock-strobe", "clock-inside", "summer",  "stall",   "pace",          "host-calls",
    "restart",     "deaf",         "burst",        "add",     "leap",    "clock-year",    "drip",
    "endless",     "backlog"};
static_assert(std::size(kNames) == kFaultCount);

}  // namespace

std::string_view nameOf(Fault fault) {
  return kNames[static_cast<std::size_t>(fault)];
}

std::optional<Fault> faultNamed(std::string_view name) {
  const auto* found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<Fault>(found - std::begin(kNames));
}

}  // namespace quarnex::simulation
