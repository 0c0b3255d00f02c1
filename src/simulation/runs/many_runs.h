// ManyRuns: the same plan with many seeds, several at a time.
#pragma once

#include <cstdint>
#include <functional>

#include "simulation/runs/simulate_run.h"

namespace quarnex::simulation {

/// Runs seeds `plan.seed` to `plan.seed` + `seeds` - 1 on `jobs` threads. `done` hears of each as it ends,
/// one at a time, in any order; once it returns false no further seed is begun.
void simulateMany(const RunPlan& plan, std::uint64_t seeds, unsigned jobs,
                  const std::function<bool(std::uint64_t seed, const RunResult& result)>& done);

}  // namespace quarnex::simulation
