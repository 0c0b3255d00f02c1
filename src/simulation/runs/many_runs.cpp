#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "simulation/runs/simulate_run.h"

namespace quarnex::simulation {
namespace {

std::filesystem::path freshFolder(const std::filesystem::path& wanted) {
  std::filesystem::path folder = wanted;
  for (int number = 2; std::filesystem::exists(folder) || !std::filesystem::create_directory(folder);
       ++number)
    folder = wanted.string() + '-' + std::to_string(number);
  return folder;
}

}  // namespace

void RunNumbers::add(const RunNumbers& other) {
  for (const auto& [name, count] : other.faults) faults[name] += count;
  for (const auto& [code, count] : other.reports) reports[code] += count;
  traces.add(other.traces);
  texts.add(other.texts);
  framesSent += other.framesSent;
  connections += other.connections;
  steps += other.steps;
  engines += other.engines;
  disksReplayed += other.disksReplayed;
  diskGaps += other.diskGaps;
  linkHours += other.linkHours;
  recovery = std::max(recovery, other.recovery);
  exit = std::max(exit, other.exit);
}

std::vector<std::string> RunNumbers::seenLessThan(std::uint64_t least, const FaultSet& allowed) const {
  std::vector<std::string> names;
  const auto require = [&](std::string_view name, std::uint64_t count) {
    if (count < least) names.emplace_back(name);
  };
  for (const Fault* fault : allFaults()) {
    if (!allowed.contains(fault->name)) continue;
    require(fault->name, faults.at(fault->name));
    for (const std::string_view kind : fault->kinds)
      if (!kind.empty()) require(kind, faults.at(kind));
  }
  for (std::size_t i = 0; i < kCauseCount; ++i) {
    const auto cause = static_cast<Cause>(i);
    if (cause != Cause::Unknown) require(nameOf(cause), texts.lost[i] + texts.doubled[i]);
  }
  for (std::size_t i = 0; i < std::size(kTraceTexts); ++i)
    require('"' + std::string(kTraceTexts[i]) + '"', traces.counts()[i]);
  return names;
}

void simulateMany(const RunPlan& plan, std::uint64_t seeds, unsigned jobs,
                  const std::function<bool(std::uint64_t seed, const RunResult& result)>& done) {
  std::atomic<std::uint64_t> next{0};
  std::mutex ending;
  const auto work = [&] {
    for (std::uint64_t i = next++; i < seeds; i = next++) {
      RunPlan mine = plan;
      mine.seed += i;
      const RunResult result = simulate(mine);
      const std::lock_guard lock(ending);
      if (!done(mine.seed, result)) next = seeds;
    }
  };
  std::vector<std::jthread> others;
  for (unsigned i = 1; i < jobs; ++i) others.emplace_back(work);
  work();
}

std::filesystem::path recordAgain(RunPlan plan, const std::filesystem::path& place) {
  auto folder = freshFolder(place / ("quarn-simulate-" + std::to_string(plan.seed)));
  plan.recordDirectory = folder;
  if (simulate(plan).recordingsWhole) return folder;
  throw std::runtime_error("the disk did not take all of " + folder.string());
}

}  // namespace quarnex::simulation
