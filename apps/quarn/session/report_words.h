// Describes a link's events, failures and waits in plain words.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

#include "quarnex/event_report.h"
#include "quarnex/link_event.h"
#include "quarnex/link_snapshot.h"

namespace quarnex::tool {

/// Describes an event of `link`: "connected to 127.0.0.1:20308", "not answering: 127.0.0.1:20308, error
/// 10061,
/// ...". Returns "" for events that other messages describe better.
std::string eventInWords(const LinkEvent& event, const LinkSnapshot& link);

/// The local time in the report as seconds since 1970-01-01 UTC.
std::int64_t secondOfReport(const EventReport& report);

/// The phase and the last failure of an unconnected link. Equal values mean that two `LinkSnapshot::why`
/// sentences differ in their times only.
struct Outage {
  LinkPhase phase;
  std::optional<FailureKind> failure;
  std::int32_t number;
  LinkPhase failed;

  auto operator<=>(const Outage&) const = default;
};
Outage outageOf(const LinkSnapshot& link);

/// Describes the rest of the link's current wait at second `now`, "calls in 7 s"; "" without a wait.
std::string waitInWords(const LinkSnapshot& link, std::int64_t now);

}  // namespace quarnex::tool
