// Fault: one way in which a simulated site goes wrong on purpose: a row with name, occasion and effect.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "platform/simulated/simulated_files.h"
#include "platform/simulated/simulated_network.h"
#include "platform/simulated/simulated_sockets.h"
#include "simulation/faults/faulty_services.h"

namespace quarnex::simulation {

class FaultPlan;
class Host;

/// Chances in a thousand that a fault happens on an occasion, and its effect there. Happenings are counted.
template <class... Where>
struct Occasion {
  std::uint32_t light = 0;
  std::uint32_t heavy = 0;
  void (*effect)(FaultPlan& plan, Where... where) = nullptr;
};

/// Times drawn at random, `pause` apart on average for each host; an eighth of that where the fault is heavy.
struct RandomTimes {
  Milliseconds pause = 0;
  /// False if it found no target, or counts itself once it has an effect.
  bool (*effect)(FaultPlan& plan) = nullptr;
};

struct Fault {
  std::string_view name{};
  /// A new fault takes the next number. From the second on faults draw random numbers only where they are
  /// enabled, so that a seed without them still gives the same run.
  int generation = 1;
  /// Too costly for every run: only runs that name it have it.
  bool large = false;
  /// Parts of its effect that the effect counts by these names.
  std::array<std::string_view, 10> kinds{};

  // When it happens, in the order in which a plan asks.
  Occasion<Conditions&> direction{};                     ///< a connection is made: each direction of it
  Occasion<std::vector<Tamper>&, Address> frames{};      ///< the same; changes whole frames
  Occasion<std::vector<Tamper>&, Address> pieces{};      ///< the same; cuts what `frames` leaves of them
  Occasion<CallFate&> call{};                            ///< a call is made; the first that happens decides
  Occasion<std::optional<OperationFault>&> operation{};  ///< a service operation, unless it only reads
  Occasion<std::optional<OperationFault>&> read{};       ///< one that only reads
  Occasion<Host&, const ServiceCall&> inside{};          ///< within an operation that does not only read
  Occasion<Disk&> disk{};                                ///< once for each host
  Occasion<EventDisorder&> events{};                     ///< once for each host
  RandomTimes times{};
};

/// The tables.
std::span<const Fault> networkFaults();
std::span<const Fault> serviceFaults();
std::span<const Fault> clockFaults();
std::span<const Fault> hostFaults();
/// All rows in the order in which plans draw them: by generation, the large ones last.
std::span<const Fault* const> allFaults();

/// By name.
using FaultSet = std::set<std::string_view>;
/// The faults that a word stands for: "half-open" for one; "all" for all but the large ones; "large"; "none";
/// "generation-2" for those of the generations 1 and 2, without the large ones. Nothing for another word.
std::optional<FaultSet> faultsNamed(std::string_view word);

}  // namespace quarnex::simulation
