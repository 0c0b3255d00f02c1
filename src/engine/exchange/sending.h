// Sends frames on the connection of a link (HandleAvanzato).
#pragma once

#include <string>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Sends `messaggio` in one frame, stores it in `UltimoInviato` for repetition and waits for the answer
/// (sub-state 2). An empty message only empties `UltimoInviato`. `messaggio` may refer to `UltimoInviato` or
/// `UltimoLotto`: it is not read after the frame is built. A failure to send is reported and reconnects the
/// link; the sub-state is set in any case.
void InviaFrame(Library& library, ConnectionRecord& record, std::string_view messaggio);

/// Sends a service message with the word "9" & comando and, unless `argomento` is empty, "9" & argomento.
/// Sets sub-state 1. The message is never repeated. Handles a failure to send like `InviaFrame`.
void InviaComando(Library& library, ConnectionRecord& record, std::string_view comando,
                  std::string_view argomento);

}  // namespace quarnex
