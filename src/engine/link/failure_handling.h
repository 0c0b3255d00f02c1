// Handles every failure of a link and reconnects it (gestione_TCP_generale, HandleETH).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// Handles a failure of a link, of which kind, number and text are given: reconnects it, counts, and reports
/// 109 and 991 when they are due. No failure is pending afterwards, not even one of the callers.
void NonRisponde(Library& library, ConnectionRecord& record, LinkFailure failure);

/// Closes the link's sockets and activates it again; 10 seconds later it listens or calls. During shutdown it
/// stays inactive. Never fails.
void ETH_Riconnetti(Library& library, ConnectionRecord& record);

/// An event named `evento` of the link's sockets reported error `codice`: traces it and gives the error
/// notice. Throw if port or host cannot be read.
void ErroreSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);
void ErroreSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);

}  // namespace quarnex
