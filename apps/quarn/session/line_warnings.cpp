#include "quarn/session/line_warnings.h"

namespace quarnex::tool {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kGroupingTime{10};

}  // namespace

void NumberedRange::add(std::uint64_t number) {
  if (count++ == 0) first = number;
  last = number;
}

std::string NumberedRange::inWords(const std::string& noun) const {
  if (count == 1) return noun + ' ' + std::to_string(first);
  const std::string range = std::to_string(first) + " to " + std::to_string(last);
  return last - first + 1 == count ? noun + "s " + range : counted(count, noun) + " from " + range;
}

void LineWarnings::add(std::uint64_t number, const std::string& kind, const std::string& words) {
  const auto [place, isNew] = groups_.try_emplace(kind);
  Group& group = place->second;
  group.numbers.add(number);
  group.words = words;
  if (isNew) print(group);
}

void LineWarnings::printGroups(bool all) {
  const auto now = steady_clock::now();
  for (auto& [kind, group] : groups_) {
    if (group.numbers.count > 0 && (all || now >= group.printed + kGroupingTime)) print(group);
  }
}

void LineWarnings::print(Group& group) {
  console_.print(group.numbers.inWords(noun_) + ": " + group.words);
  group.numbers = {};
  group.printed = steady_clock::now();
}

}  // namespace quarnex::tool
