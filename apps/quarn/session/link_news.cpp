#include "quarn/session/link_news.h"

#include <utility>

namespace quarnex::tool {
namespace {

using std::chrono::steady_clock;

// Attempts during an outage usually fail for the same reason, which is printed again after this time.
constexpr std::chrono::minutes kReminder{10};

}  // namespace

void LinkNews::takeEvent(const LinkEvent& event, const LinkSnapshot& link) {
  const std::string words = eventInWords(event, link) + replacement(event);
  if (!words.empty()) console_.print(event.at, words);
}

// A caller takes the place of the one before without a disconnection.
std::string LinkNews::replacement(const LinkEvent& event) {
  if (event.type == EventType::Disconnected || event.type == EventType::Closed) caller_.clear();
  if (event.type != EventType::Connected) return "";
  wasConnected_ = true;
  printed_.clear();
  const std::string before = std::exchange(caller_, event.endpoint);
  return before.empty() ? "" : ", a new caller replaced the previous one, " + before;
}

void LinkNews::takeOutages(const std::vector<LinkOutage>& outages) {
  if (outages.empty() || !outages.back().end || outages.back().number == outagePrinted_) return;
  outagePrinted_ = outages.back().number;
  console_.print(outages.back().why);
}

void LinkNews::takeReport(const std::string& item) {
  const std::optional<EventReport> report = parseEventReport(item);
  if (raw_) console_.print(report ? secondOfReport(*report) : wallSecond(), item);
}

void LinkNews::takeTraces(QuarnSocket& quarn, const LinkSnapshot& link) {
  for (int i = 0; i < link.captured; ++i) console_.print("| " + quarn.GetDebug(link.index));
}

// Events announce connections; for every other phase the snapshot's sentence contains more than the event.
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
