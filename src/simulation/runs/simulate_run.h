// Simulates sites under faults: one run from a seed, many runs, and a run recorded again.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/virtual_time.h"
#include "recording/shrinker/checker.h"
#include "simulation/checks/independent/check.h"
#include "simulation/faults/fault.h"

namespace quarnex::simulation {

struct RunPlan {
  std::uint64_t seed = 0;
  Milliseconds faultTime = kHour;         ///< faults happen for this time; then every link must recover
  int links = 10;                         ///< of each of the four hosts, 1 to 32767
  FaultSet faults = *faultsNamed("all");  ///< from which the seed draws its plan
  std::optional<std::filesystem::path> recordDirectory;  ///< exists; receives a recording of each engine
  std::function<bool(Milliseconds passed)>
      goesOn;  ///< if set, called each minute with faults; false ends them and the run
};

/// Counts of one run or of many.
struct RunNumbers : SiteCounts {
  std::map<std::string_view, std::uint64_t> faults;  ///< happenings of each fault and each kind
  TextCounts texts;
  std::uint64_t connections = 0, engines = 0;
  std::uint64_t disksReplayed = 0, diskGaps = 0;  ///< recordings on failing disks; those with a gap
  double linkHours = 0;       ///< each end of a connection counts as a link; links without TCP do not count
  Milliseconds recovery = 0;  ///< longest time until all links were connected
  Milliseconds exit = 0;      ///< longest time from `Uscita` until every host was ready to leave

  void add(const RunNumbers& other);
  /// Names the `allowed` faults and their kinds, the causes and the trace texts that occurred fewer than
  /// `least` times.
  std::vector<std::string> seenLessThan(std::uint64_t least, const FaultSet& allowed) const;
};

struct RunResult : RunNumbers {
  std::optional<recording::Finding> finding;  ///< the first; the run ended there
  FaultSet enabled;
  std::uint64_t hash = 0;       ///< of all recordings
  bool recordingsWhole = true;  ///< false if the disk did not take one
  bool complete = true;         ///< false if `goesOn` ended the run
  Milliseconds duration = 0;
  Milliseconds aftermath = 0;  ///< rest of stalls and clocks behind when the faults ended
};

/// The same plan gives the same result on every machine.
RunResult simulate(const RunPlan& plan);

/// Runs seeds `plan.seed` to `plan.seed` + `seeds` - 1 on `jobs` threads. Calls `done` at the end of each,
/// one at a time, in any order; once `done` returns false no further seed begins.
void simulateMany(const RunPlan& plan, std::uint64_t seeds, unsigned jobs,
                  const std::function<bool(std::uint64_t seed, const RunResult& result)>& done);

/// Repeats `plan` and records each engine into a new folder in `place`, which it returns: "quarn-simulate-7"
/// for seed 7 or, if that exists, "quarn-simulate-7-2" and so on. Throws `std::runtime_error` if the folder
/// cannot be made or the disk does not take all.
std::filesystem::path recordAgain(RunPlan plan, const std::filesystem::path& place);

}  // namespace quarnex::simulation
