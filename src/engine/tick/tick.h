// Runs the periodic tick: one guarded step for every link (gestione_TCP_generale).
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// Gives every active link over TCP one step, in table order. Links added meanwhile wait for the next tick.
void HiTime_QUARN_Tick(Library& library);

/// One step of a link's state machine.
using LinkStep = void (*)(Library& library, ConnectionRecord& record);

/// The step that the link's phase and role call for: exchange, call or listen.
LinkStep stepOf(const ConnectionRecord& record);

/// Runs `step` on the link unless its handler already runs further up the stack. A failure that escapes the
/// step is traced and ends here.
void Handler(Library& library, ConnectionRecord& record, LinkStep step);

}  // namespace quarnex
