#include "quarn/session/line_warnings.h"

namespace quarnex::tool {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kGroupingTime{10};

}  // namespace

void LineWarnings::add(std::uint64_t number, const std::string& kind, const std::string& words) {
  const auto [place, isNew] = groups_.try_emplace(kind);
  Group& group = place->second;
  if (group.count++ == 0) group.first = number;
  group.last = number;
  group.words = words;
  if (isNew) print(group);
}

void LineWarnings::printGroups(bool all) {
  const auto now = steady_clock::now();
  for (auto& [kind, group] : groups_) {
    if (group.count > 0 && (all || now >= group.printed + kGroupingTime)) print(group);
  }
}

void LineWarnings::print(Group& group) {
  const bool adjacent = group.last - group.first + 1 == group.count;
  const std::string lines = adjacent ? nameOfRange(noun_, group.first, group.last)
                                     : counted(group.count, noun_) + " from " + std::to_string(group.first) +
                                           " to " + std::to_string(group.last);
  console_.print(lines + ": " + group.words);
  group.count = 0;
  group.printed = steady_clock::now();
}

std::string nameOfRange(const std::string& noun, std::uint64_t first, std::uint64_t last) {
  if (first == last) return noun + ' ' + std::to_string(first);
  return noun + "s " + std::to_string(first) + " to " + std::to_string(last);
}

}  // namespace quarnex::tool
