// gestione_TCP_generale: keep-alive supervision of a connected link.
#pragma once

#include "engine/records/library.h"
#include "engine/records/record_operations.h"

namespace quarnex {

/// The link has been silent for its period.
void keepAliveExpired(Library& library, ConnectionRecord& rec);

/// When the link has been silent for its period: queues the probe "9!" and arms the next period; at the
/// second expiry in a row declares the time-out, which reconnects the link. One call counts at most one
/// expiry, however late.
inline void ControllaAlive(Library& library, ConnectionRecord& rec) {
  if (ScadenzaPassata(library, rec.ScadenzaAlive)) keepAliveExpired(library, rec);
}

}  // namespace quarnex
