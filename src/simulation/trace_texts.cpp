#include "simulation/trace_texts.h"

namespace quarnex::simulation {

void TraceCounts::add(std::string_view text) {
  for (std::size_t i = 0; i < kTraceTextCount; ++i) {
    const TraceText& known = kTraceTexts[i];
    if (text.empty() || text.front() != known.begin.front() || !text.starts_with(known.begin)) continue;
    if (text.find(known.within) == std::string_view::npos) continue;
    ++counts_[i];
    return;
  }
}

}  // namespace quarnex::simulation
