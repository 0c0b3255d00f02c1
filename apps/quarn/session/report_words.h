// A link's reports and waits in plain words.
#pragma once

#include <cstdint>
#include <string>

#include "quarnex/event_report.h"
#include "quarnex/link_snapshot.h"

namespace quarnex::tool {

/// "connected to 127.0.0.1:20308", "not answering: 127.0.0.1:20308, error 10061, ...".
std::string reportInWords(const EventReport& report);

/// "14:20:05", the report's own time of day.
std::string timeOfReport(const EventReport& report);

/// A sentence of the library about a link, without the times of day in it.
std::string withoutTimes(const std::string& sentence);

/// How long the link's present wait still lasts at second `now`, "calls in 7 s"; "" if it waits for nothing.
std::string waitInWords(const LinkSnapshot& link, std::int64_t now);

}  // namespace quarnex::tool
