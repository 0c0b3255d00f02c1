// RecordAgain: the recordings of a run that went without them, since the same plan gives the same run.
#pragma once

#include <filesystem>

#include "simulation/runs/simulate_run.h"

namespace quarnex::simulation {

/// Runs `plan` once more and returns a fresh folder in `place`, "quarn-simulate-7" for seed 7 or, where that
/// exists, "quarn-simulate-7-2" and so on, with a recording of each engine. Throws `std::runtime_error` if
/// the folder cannot be made or the disk did not take all.
std::filesystem::path recordAgain(RunPlan plan, const std::filesystem::path& place);

}  // namespace quarnex::simulation
