// What `quarn simulate` tells of its runs, in numbers.
#pragma once

#include <cstdint>
#include <string>

#include "simulation/runs/simulate_run.h"

namespace quarnex::tool {

/// "12.5 s".
std::string inSeconds(simulation::Milliseconds duration);

void printRun(const simulation::RunPlan& plan, const simulation::RunResult& result);
/// The sums of `runs` runs from `plan.seed` on.
void printRuns(const simulation::RunPlan& plan, std::uint64_t runs, const simulation::RunNumbers& sums);
/// On standard error, since it differs from run to run: the processor's time and what came of it.
void printSpeed(const simulation::RunNumbers& numbers, double cpuSeconds, double elapsedSeconds);

}  // namespace quarnex::tool
