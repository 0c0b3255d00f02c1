// Sends frames on the connection of a link (HandleAvanzato).
#pragma once

#include <string>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Sends `messaggio` in one frame, remembers it in `UltimoInviato` for repetition and waits for the answer
/// (sub-state 2). An empty one only empties `UltimoInviato`. It may be `UltimoInviato` or `UltimoLotto`
/// itself: nothing looks at it once the frame is made. A failure to send is reported and reconnects the link;
/// the sub-state is set all the same.
void InviaFrame(Library& library, ConnectionRecord& record, std::string_view messaggio);

/// Sends a service message with the word "9" & comando and, unless empty, "9" & argomento; sub-state 1
/// afterwards. It is never repeated. Failures as above.
void InviaComando(Library& library, ConnectionRecord& record, std::string_view comando,
                  std::string_view argomento);

}  // namespace quarnex
