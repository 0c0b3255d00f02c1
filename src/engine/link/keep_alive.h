// Supervises a connected link: probes a silent peer, then fails the link (gestione_TCP_generale).
#pragma once

#include "engine/records/library.h"
#include "engine/records/record_operations.h"

namespace quarnex {

/// Queues the probe "9!" and arms the next period; fails the link if more than `kSilentPeriodsTolerated`
/// periods in a row were silent. Counts one period per call, however late the call.
void keepAliveExpired(Library& library, ConnectionRecord& rec);

/// Runs `keepAliveExpired` if the link has been silent for its period.
inline void ControllaAlive(Library& library, ConnectionRecord& rec) {
  if (ScadenzaPassata(library, rec.ScadenzaAlive)) keepAliveExpired(library, rec);
}

}  // namespace quarnex
