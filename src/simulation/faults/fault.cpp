#include "simulation/faults/fault.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

namespace quarnex::simulation {
namespace {

template <class Rule>
FaultSet faultsWith(Rule rule) {
  FaultSet names;
  for (const Fault* fault : allFaults())
    if (rule(*fault)) names.insert(fault->name);
  return names;
}

// 0 if the word is not "generation-" and a number.
int generationNamed(std::string_view word) {
  constexpr std::string_view prefix = "generation-";
  int generation = 0;
  const char* const end = word.data() + word.size();
  if (!word.starts_with(prefix) || std::from_chars(word.data() + prefix.size(), end, generation).ptr != end)
    return 0;
  return generation;
}

}  // namespace

std::span<const Fault* const> allFaults() {
  static const std::vector<const Fault*> sorted = [] {
    std::vector<const Fault*> faults;
    for (const auto& table : {networkFaults(), serviceFaults(), clockFaults(), hostFaults()})
      for (const Fault& fault : table) faults.push_back(&fault);
    std::ranges::stable_sort(faults, {},
                             [](auto* fault) { return std::pair(fault->large, fault->generation); });
    return faults;
  }();
  return sorted;
}

std::optional<FaultSet> faultsNamed(std::string_view word) {
  if (word == "none") return FaultSet();
  if (word == "large") return faultsWith([](const Fault& fault) { return fault.large; });
  const int latest = word == "all" ? std::numeric_limits<int>::max() : generationNamed(word);
  FaultSet faults = faultsWith(
      [&](const Fault& fault) { return fault.name == word || (!fault.large && fault.generation <= latest); });
  return faults.empty() ? std::nullopt : std::optional(std::move(faults));
}

}  // namespace quarnex::simulation
