// Runs the periodic tick: one guarded step for every link (gestione_TCP_generale).
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// Gives every active link over TCP one step, in table order. Links added meanwhile wait for the next tick.
void HiTime_QUARN_Tick(Library& library);

/// One step of a link's state machine.
using LinkStep = void (*)(Library& library, ConnectionRecord& record);

/// The step for the link's phase and role: exchange, call or listen.
LinkStep stepOf(const ConnectionRecord& record);

/// Runs `step` on the link unless its handler is running further up the stack. Traces a failure that escapes
/// the step, and never fails itself.
void Handler(Library& library, ConnectionRecord& record, LinkStep step);

}  // namespace quarnex
