// One simulated life of a site: trouble for some hours, its end, recovery, and an orderly end of all hosts.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/simulated/virtual_time.h"
#include "simulation/checks/findings.h"
#include "simulation/checks/text_ledger.h"
#include "simulation/checks/trace_texts.h"
#include "simulation/faults/fault.h"
#include "simulation/faults/kind.h"

namespace quarnex::simulation {

struct RunPlan {
  std::uint64_t seed = 0;
  simulated::Milliseconds trouble = 3'600'000;           ///< for so long
  int links = 10;                                        ///< of each of the four hosts, 1 to 32767
  FaultSet faults = FaultSet::all();                     ///< of which the seed draws its mix
  std::optional<std::filesystem::path> recordDirectory;  ///< exists; gets a recording of each engine
};

/// What happened, of one run or of many.
struct RunNumbers {
  std::array<std::uint64_t, kFaultCount> faults{};      ///< how often each happened
  std::array<std::uint64_t, kKindCount> kinds{};        ///< of faults
  std::array<std::uint64_t, kTraceTextCount> traces{};  ///< how often each was seen
  std::map<int, std::uint64_t> reports;                 ///< event reports by code
  std::uint64_t textsSent = 0, textsDelivered = 0, textsAgain = 0, textsOld = 0, textsForeign = 0;
  CauseCounts losses{}, duplicates{};  ///< of texts, by cause
  std::uint64_t framesSent = 0, connections = 0, steps = 0;
  std::uint64_t engines = 0;
  std::uint64_t disksPlayed = 0, diskGaps = 0;  ///< recordings on failing disks that were played; with a gap
  double linkHours = 0;                  ///< each end of a connection is a link; those without TCP are none
  simulated::Milliseconds recovery = 0;  ///< until all links were connected, the longest
  simulated::Milliseconds exit = 0;      ///< from `Uscita` until every host was ready to leave, the longest

  void add(const RunNumbers& other);
  /// Names of `allowed` faults and their kinds, of causes and of trace texts that were seen fewer than
  /// `least` times.
  std::vector<std::string> seenLessThan(std::uint64_t least, const FaultSet& allowed) const;
};

struct RunResult : RunNumbers {
  std::optional<Finding> finding;  ///< the first; the run ended there
  FaultSet mix;
  std::uint64_t hash = 0;       ///< of all recordings
  bool recordingsWhole = true;  ///< false if the disk did not take one
  simulated::Milliseconds duration = 0;
  simulated::Milliseconds aftermath = 0;  ///< stalls and clocks behind, when the trouble ended
};

/// The same plan gives the same result on every machine.
RunResult simulate(const RunPlan& plan);

}  // namespace quarnex::simulation
