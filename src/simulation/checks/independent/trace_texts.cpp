#include "simulation/checks/independent/trace_texts.h"

#include <algorithm>
#include <vector>

namespace quarnex::simulation {
namespace {

struct Pattern {
  std::size_t row;
  std::string_view begin, within;
};
using Patterns = std::array<std::vector<Pattern>, 256>;

// By the first character of the texts.
Patterns sortedPatterns() {
  Patterns patterns;
  for (std::size_t row = 0; row < kTraceTexts.size(); ++row) {
    const std::string_view text = kTraceTexts[row];
    const std::size_t star = std::min(text.find('*'), text.size());
    const std::size_t rest = std::min(star + 1, text.size());
    patterns[static_cast<unsigned char>(text.front())].push_back(
        {row, text.substr(0, star), text.substr(rest)});
  }
  return patterns;
}

}  // namespace

void TraceCounts::add(std::string_view text) {
  static const Patterns patterns = sortedPatterns();
  if (text.empty()) return;
  for (const Pattern& pattern : patterns[static_cast<unsigned char>(text.front())]) {
    if (!text.starts_with(pattern.begin) || text.find(pattern.within) == std::string_view::npos) continue;
    ++counts_[pattern.row];
    return;
  }
}

void TraceCounts::add(const TraceCounts& other) {
  for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += other.counts_[i];
}

}  // namespace quarnex::simulation
