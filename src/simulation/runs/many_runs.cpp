#include "simulation/runs/many_runs.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace quarnex::simulation {

void simulateMany(const RunPlan& plan, std::uint64_t seeds, unsigned jobs,
                  const std::function<bool(std::uint64_t seed, const RunResult& result)>& done) {
  std::atomic<std::uint64_t> next{0};
  std::mutex telling;
  const auto work = [&] {
    for (std::uint64_t i = next++; i < seeds; i = next++) {
      RunPlan mine = plan;
      mine.seed += i;
      const RunResult result = simulate(mine);
      const std::lock_guard lock(telling);
      if (!done(mine.seed, result)) next = seeds;
    }
  };
  std::vector<std::jthread> others;
  for (unsigned i = 1; i < jobs; ++i) others.emplace_back(work);
  work();
}

}  // namespace quarnex::simulation
