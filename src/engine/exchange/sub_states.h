// HandleAvanzato: one step of the exchange on a tick without a complete frame: send, repeat, give up, pause.
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// Runs the step of the link's sub-state; none for a value other than 0 to 3.
void runSubState(Library& library, ConnectionRecord& record);

/// 0: the exchange starts afresh; nothing is sent. The batch in flight is not touched.
void AzzeraStatoB(Library& library, ConnectionRecord& record);
/// 1: sends the unacknowledged message again or, on a client link, the next batch or a query.
void HandleStato_A(Library& library, ConnectionRecord& record);
/// 2: an overdue answer makes the link send again on the next tick; the sixth in a row is a failure of the
/// link.
void HandleStato_B(Library& library, ConnectionRecord& record);
/// 3: pauses until the deadline has passed or a batch is ready.
void HandleStato_C(Library& library, ConnectionRecord& record);

}  // namespace quarnex
