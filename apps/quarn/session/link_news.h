// Prints the changes of a link as messages: its events, states and traces.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quarn/console.h"
#include "quarn/session/report_words.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

class LinkNews {
 public:
  LinkNews(Console& console, bool raw) : console_(console), raw_(raw) {}

  /// Prints an event in words.
  void takeEvent(const LinkEvent& event, const LinkSnapshot& link);
  /// Prints the latest outage in one sentence if it is over and was not printed yet.
  void takeOutages(const std::vector<LinkOutage>& outages);
  /// Prints a report as the library returns it, if that was requested.
  void takeReport(const std::string& item);
  void takeTraces(QuarnSocket& quarn, const LinkSnapshot& link);
  /// Prints the snapshot's sentence if the state of an unconnected link has changed. Attempts that fail for
  /// the same reason are printed again after ten minutes only.
  void takeState(const LinkSnapshot& link);

  /// True after the first connection.
  bool wasConnected() const { return wasConnected_; }

 private:
  std::string replacement(const LinkEvent& event);
  bool printedLately(const LinkSnapshot& link);

  Console& console_;
  bool raw_;
  bool wasConnected_ = false;
  std::string caller_;                       // of the present connection
  std::uint32_t outagePrinted_ = 0;          // number of the last one
  LinkPhase phaseSeen_ = LinkPhase::Closed;  // phase and deadline at the last `takeState`
  std::optional<std::int64_t> deadlineSeen_;
  std::set<Outage> printed_;  // outages printed since the last connection or reminder
  std::chrono::steady_clock::time_point printedSince_;
};

}  // namespace quarnex::tool
