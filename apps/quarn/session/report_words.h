// Describes a link's reports, failures and waits in plain words.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

#include "quarnex/event_report.h"
#include "quarnex/link_snapshot.h"

namespace quarnex::tool {

/// A report about `link`: "connected to 127.0.0.1:20308", "not answering: 127.0.0.1:20308, error 10061, ...".
/// "" for an error notice, whose reason `LinkSnapshot::why` gives.
std::string reportInWords(const EventReport& report, const LinkSnapshot& link);

/// "14:20:05", the report's own time of day.
std::string timeOfReport(const EventReport& report);

/// The phase and the last failure of a link. Equal for two sentences `LinkSnapshot::why` about one
/// unconnected link that differ in times only.
struct Outage {
  LinkPhase phase;
  std::optional<FailureKind> failure;
  std::int32_t number;
  LinkPhase failed;

  auto operator<=>(const Outage&) const = default;
};
Outage outageOf(const LinkSnapshot& link);

/// How long the link's present wait still lasts at second `now`, "calls in 7 s"; "" if it waits for nothing.
std::string waitInWords(const LinkSnapshot& link, std::int64_t now);

}  // namespace quarnex::tool
