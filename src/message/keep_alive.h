// gestione_TCP_generale: keep-alive supervision of a connected link.
#pragma once

#include "component/library.h"

namespace quarnex {

/// When the link has been silent for its period: queues the probe "9!" and arms the next period; at the
/// second expiry in a row declares the time-out, which reconnects the link. One call counts at most one
/// expiry, however late.
void ControllaAlive(Library& library, ConnectionRecord& rec);

}  // namespace quarnex
