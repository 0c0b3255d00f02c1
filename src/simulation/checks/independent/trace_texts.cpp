#include "simulation/checks/independent/trace_texts.h"

namespace quarnex::simulation {

// Nearly every text begins with one of the first rows; two characters tell whether a row is worth a look.
void TraceCounts::add(std::string_view text) {
  if (text.size() < 2) return;
  for (std::size_t i = 0; i < kTraceTextCount; ++i) {
    const TraceText& known = kTraceTexts[i];
    if (text[0] != known.begin[0] || text[1] != known.begin[1] || !text.starts_with(known.begin)) continue;
    if (text.find(known.within) == std::string_view::npos) continue;
    ++counts_[i];
    return;
  }
}

}  // namespace quarnex::simulation
