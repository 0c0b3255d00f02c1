// Puts items into the inbound queues of links, and lists the links in which items wait.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "engine/records/library.h"

namespace quarnex {

/// Puts a text of the peer, or a report, into `CodaArrivo`. A report is marked.
void putInbound(Library& library, ConnectionRecord& record, std::string_view item, bool isReport);

/// The links in which items wait, in the order in which they have had some. Takes time for the links that got
/// items since the call before, not for all links.
std::vector<std::int16_t> linksWithItems(Library& library);

}  // namespace quarnex
