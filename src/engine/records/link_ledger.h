// Holds the answers of a link for its host: receipts, failures, outages, and where its events are. Links
// without texts and failures have none.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/records/receipt_book.h"
#include "quarnex/link_snapshot.h"
#include "quarnex/receipts.h"

namespace quarnex {

/// Serial numbers of the link's events that further occurrences may join.
struct JoinableEvents {
  std::uint64_t latest = 0;  // of any type
  std::uint64_t textsReceived = 0, attemptFailed = 0, receivedDropped = 0;
};

/// How far `drainAndClose` has come.
enum class DrainPhase : std::uint8_t { None, Waiting, Lingering, Closing };

struct LinkDrain {
  DrainPhase phase = DrainPhase::None;
  bool timedOut = false;
  std::int64_t deadline = 0;      // of the phase, by the clock that never goes back, in milliseconds
  std::vector<Receipt> receipts;  // decided since it began
};

struct LinkLedger {
  std::optional<LinkFailure> lastFailure;
  ReceiptBook book;
  OutcomeCounts outcomes;
  std::uint64_t receivedDropped = 0;
  bool eventsOn = false;
  bool mayConnect = false;  // the link is closed, but a peer may still reach it
  JoinableEvents joinable;
  LinkDrain drain;
  std::vector<LinkOutage> outages;  // the latest ones, oldest first; the last may be under way
  std::uint32_t outagesBefore = 0;  // older ones, which are forgotten
};

}  // namespace quarnex
