#include "simulation/checks/independent/trace_texts.h"

#include <vector>

namespace quarnex::simulation {
namespace {

using Rows = std::array<std::vector<std::size_t>, 256>;

// By the first character of the texts.
Rows sortedRows() {
  Rows rows;
  for (std::size_t i = 0; i < kTraceTextCount; ++i)
    rows[static_cast<unsigned char>(kTraceTexts[i].begin.front())].push_back(i);
  return rows;
}

}  // namespace

void TraceCounts::add(std::string_view text) {
  static const Rows rows = sortedRows();
  if (text.empty()) return;
  for (const std::size_t i : rows[static_cast<unsigned char>(text.front())]) {
    const TraceText& known = kTraceTexts[i];
    if (!text.starts_with(known.begin) || text.find(known.within) == std::string_view::npos) continue;
    ++counts_[i];
    return;
  }
}

}  // namespace quarnex::simulation
