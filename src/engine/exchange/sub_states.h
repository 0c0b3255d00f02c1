// Runs one step of the exchange on a tick without a complete frame: send, repeat, give up, pause
// (HandleAvanzato).
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// Runs the step of the link's sub-state; does nothing for a value other than 0 to 3.
void runSubState(Library& library, ConnectionRecord& record);

/// 0: starts the exchange anew; sends nothing. The batch in flight is not touched.
void AzzeraStatoB(Library& library, ConnectionRecord& record);
/// 1: sends the unacknowledged message again or, on a client link, the next batch or a query.
void HandleStato_A(Library& library, ConnectionRecord& record);
/// 2: lets the link send again on the next tick once the answer is overdue; fails the link when more than
/// `kOverdueAnswersTolerated` answers in a row are overdue.
void HandleStato_B(Library& library, ConnectionRecord& record);
/// 3: pauses until the deadline has passed or a batch is ready.
void HandleStato_C(Library& library, ConnectionRecord& record);

}  // namespace quarnex
