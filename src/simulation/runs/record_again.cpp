#include "simulation/runs/record_again.h"

#include <stdexcept>
#include <string>

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

std::filesystem::path recordAgain(RunPlan plan, const std::filesystem::path& place) {
  auto folder = freshFolder(place / ("quarn-simulate-" + std::to_string(plan.seed)));
  plan.recordDirectory = folder;
  if (simulate(plan).recordingsWhole) return folder;
  throw std::runtime_error("the disk did not take all of " + folder.string());
}

}  // namespace quarnex::simulation
