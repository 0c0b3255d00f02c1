// Fault: what can go wrong in a simulation, by name.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quarnex::simulation {

enum class Fault : std::uint8_t {
  // the network
  Delay,
  Cut,
  Damage,
  Window,
  Partial,
  Hold,
  HalfOpen,
  Break,
  Refuse,
  Hang,
  Callers,
  Squat,
  Hostile,
  // the services of a host
  Operations,
  Descriptors,
  Events,
  Raise,
  Nesting,
  Disk,
  // its clock
  ClockForward,
  ClockBack,
  ClockSpeed,
  ClockStrobe,
  ClockInside,
  Summer,
  // the host itself
  Stall,
  Pace,
  HostCalls,
  Restart,
  Deaf,
  // added later
  Burst,
  Add,
  Leap,
  ClockYear,
  Drip,
  // so large that they are only drawn where they are named
  Endless,
  Backlog
};
constexpr std::size_t kFaultCount = static_cast<std::size_t>(Fault::Backlog) + 1;

constexpr bool isLarge(Fault fault) {
  return fault >= Fault::Endless;
}

/// Of these the seed draws only where they are allowed, so that with the others alone a seed keeps its story.
constexpr bool isLater(Fault fault) {
  return fault >= Fault::Burst && !isLarge(fault);
}

/// "delay", "half-open", "clock-back".
std::string_view nameOf(Fault fault);
std::optional<Fault> faultNamed(std::string_view name);

class FaultSet {
 public:
  /// All but the large ones.
  static FaultSet all() {
    FaultSet faults;
    for (std::size_t i = 0; i < kFaultCount; ++i) {
      if (const auto fault = static_cast<Fault>(i); !isLarge(fault)) faults.add(fault);
    }
    return faults;
  }
  bool has(Fault fault) const { return bits_.test(static_cast<std::size_t>(fault)); }
  void add(Fault fault) { bits_.set(static_cast<std::size_t>(fault)); }

 private:
  std::bitset<kFaultCount> bits_;
};

}  // namespace quarnex::simulation
