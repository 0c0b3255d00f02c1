// Simulates a site once: faults for some hours, recovery, and an orderly end of all hosts.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/virtual_time.h"
#include "recording/shrinker/checker.h"
#include "simulation/checks/independent/text_ledger.h"
#include "simulation/checks/independent/trace_texts.h"
#include "simulation/faults/fault.h"

namespace quarnex::simulation {

struct RunPlan {
  std::uint64_t seed = 0;
  Milliseconds faultTime = kHour;                        ///< for which faults happen
  int links = 10;                                        ///< of each of the four hosts, 1 to 32767
  FaultSet faults = *faultsNamed("all");                 ///< from which the seed draws its plan
  std::optional<std::filesystem::path> recordDirectory;  ///< exists; gets a recording of each engine
};

/// What happened, of one run or of many.
struct RunNumbers {
  std::map<std::string_view, std::uint64_t> faults;     ///< how often each fault and each kind happened
  std::array<std::uint64_t, kTraceTextCount> traces{};  ///< how often each was seen
  std::map<int, std::uint64_t> reports;                 ///< event reports by code
  std::uint64_t textsSent = 0, textsDelivered = 0, textsAgain = 0, textsOld = 0, textsForeign = 0;
  CauseCounts losses{}, duplicates{};  ///< of texts, by cause
  std::uint64_t framesSent = 0, connections = 0, steps = 0;
  std::uint64_t engines = 0;
  std::uint64_t disksPlayed = 0, diskGaps = 0;  ///< recordings on failing disks that were played; with a gap
  double linkHours = 0;       ///< each end of a connection is a link; those without TCP are none
  Milliseconds recovery = 0;  ///< until all links were connected, the longest
  Milliseconds exit = 0;      ///< from `Uscita` until every host was ready to leave, the longest

  void add(const RunNumbers& other);
  /// Names of `allowed` faults and their kinds, of causes and of trace texts that were seen fewer than
  /// `least` times.
  std::vector<std::string> seenLessThan(std::uint64_t least, const FaultSet& allowed) const;
};

struct RunResult : RunNumbers {
  std::optional<recording::Finding> finding;  ///< the first; the run ended there
  FaultSet enabled;
  std::uint64_t hash = 0;       ///< of all recordings
  bool recordingsWhole = true;  ///< false if the disk did not take one
  Milliseconds duration = 0;
  Milliseconds aftermath = 0;  ///< stalls and clocks behind, when the faults ended
};

/// The same plan gives the same result on every machine.
RunResult simulate(const RunPlan& plan);

}  // namespace quarnex::simulation
