#include <algorithm>

#include "simulation/runs/simulate_run.h"

namespace quarnex::simulation {
namespace {

template <class Counts>
void addEach(Counts& sums, const Counts& others) {
  for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += others[i];
}

}  // namespace

void RunNumbers::add(const RunNumbers& other) {
  for (const auto& [name, count] : other.faults) faults[name] += count;
  addEach(traces, other.traces);
  addEach(losses, other.losses);
  addEach(duplicates, other.duplicates);
  for (const auto& [code, count] : other.reports) reports[code] += count;
  textsSent += other.textsSent;
  textsDelivered += other.textsDelivered;
  textsAgain += other.textsAgain;
  textsOld += other.textsOld;
  textsForeign += other.textsForeign;
  framesSent += other.framesSent;
  connections += other.connections;
  steps += other.steps;
  engines += other.engines;
  disksPlayed += other.disksPlayed;
  diskGaps += other.diskGaps;
  linkHours += other.linkHours;
  recovery = std::max(recovery, other.recovery);
  exit = std::max(exit, other.exit);
}

std::vector<std::string> RunNumbers::seenLessThan(std::uint64_t least, const FaultSet& allowed) const {
  std::vector<std::string> names;
  for (const Fault* fault : allFaults()) {
    if (!allowed.contains(fault->name)) continue;
    if (faults.at(fault->name) < least) names.emplace_back(fault->name);
    for (const std::string_view kind : fault->kinds)
      if (!kind.empty() && faults.at(kind) < least) names.emplace_back(kind);
  }
  for (std::size_t i = 0; i < losses.size(); ++i) {
    const auto cause = static_cast<Cause>(i);
    if (cause != Cause::Unknown && losses[i] + duplicates[i] < least) names.emplace_back(nameOf(cause));
  }
  for (std::size_t i = 0; i < traces.size(); ++i) {
    if (traces[i] < least) names.emplace_back('"' + std::string(kTraceTexts[i].name) + '"');
  }
  return names;
}

}  // namespace quarnex::simulation
