// Prints the results of simulated runs: counts of faults, texts, reports and work, and the speed.
#pragma once

#include <cstdint>
#include <string>

#include "simulation/runs/simulate_run.h"

namespace quarnex::tool {

/// Returns "12.5 s".
std::string inSeconds(simulation::Milliseconds duration);

void printRun(const simulation::RunPlan& plan, const simulation::RunResult& result);
/// Prints the sums of `runs` runs, whose first seed is `plan.seed`, and of those that were ended early.
void printRuns(const simulation::RunPlan& plan, std::uint64_t runs, std::uint64_t endedRuns,
               const simulation::RunNumbers& sums);
/// Prints time and speed on standard error, because they differ from run to run.
void printSpeed(const simulation::RunNumbers& numbers, double cpuSeconds, double elapsedSeconds);

}  // namespace quarnex::tool
