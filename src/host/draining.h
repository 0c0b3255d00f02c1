// Closes links when the fate of every text is known: `drainAndClose` and `drainAndLeave`.
#pragma once

#include <chrono>
#include <cstdint>

#include "engine/records/library.h"

namespace quarnex {

/// Begins to drain a link over TCP, or changes the limit of a drain that waits.
void beginDrain(Library& library, ConnectionRecord& record, std::chrono::milliseconds within);
/// Drains all links, then leaves.
void beginLeaving(Library& library, std::chrono::milliseconds within);

/// Takes every drain as far as it can go now. Its calls of `Chiudi` and `Uscita` are ordinary host calls, so
/// call it between two steps of the engine: after each turn of the loop, and when the host asks for events.
void serviceDrains(Library& library);

}  // namespace quarnex
