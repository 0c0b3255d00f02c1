#include "quarn/session/link_news.h"

namespace quarnex::tool {
namespace {

using std::chrono::steady_clock;

// Attempts during an outage usually fail for the same reason, which is printed again after this time.
constexpr std::chrono::minutes kReminder{10};

}  // namespace

void LinkNews::takeReport(const std::string& item, const LinkSnapshot& link) {
  const std::optional<EventReport> report = parseEventReport(item);
  if (!report) return console_.print(item);
  printReport(*report, link);
  if (raw_) console_.print(secondOfReport(*report), item);
}

// The library also reports 702 after each failed attempt, and twice at a close; only the first one is
// printed.
void LinkNews::printReport(const EventReport& report, const LinkSnapshot& link) {
  const bool before = connected_;
  if (report.code == kConnectedReport) {
    connected_ = wasConnected_ = true;
    printed_.clear();
  }
  if (report.code == kDisconnectedReport) connected_ = false;
  if (report.code == kDisconnectedReport && !before) return;
  const std::string words = reportInWords(report, link);
  if (words.empty()) return;
  const bool replaced = report.code == kConnectedReport && before;
  console_.print(secondOfReport(report),
                 words + (replaced ? ", a new caller replaced the previous one" : ""));
}

void LinkNews::takeTraces(QuarnSocket& quarn, const LinkSnapshot& link) {
  for (int i = 0; i < link.captured; ++i) console_.print("| " + quarn.GetDebug(link.index));
}

// Reports announce connections; for every other phase the snapshot's sentence contains more than the report.
void LinkNews::takeState(const LinkSnapshot& link) {
  if (link.phase == LinkPhase::Connected) return;
  if (link.phase == phaseSeen_ && link.deadline == deadlineSeen_) return;
  phaseSeen_ = link.phase;
  deadlineSeen_ = link.deadline;
  if (!printedLately(link)) console_.print(link.why);
}

bool LinkNews::printedLately(const LinkSnapshot& link) {
  const auto now = steady_clock::now();
  if (now >= printedSince_ + kReminder) {
    printed_.clear();
    printedSince_ = now;
  }
  return !printed_.insert(outageOf(link)).second;
}

}  // namespace quarnex::tool
