// Handles every failure of a link and reconnects it (gestione_TCP_generale, HandleETH).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// Handles a failure of a link, given by kind, number and text: reconnects the link, counts the failure, and
/// reports 109 and 991 when they are due. Clears all pending failures, including those of the callers.
void NonRisponde(Library& library, ConnectionRecord& record, LinkFailure failure);

/// Closes the link's sockets and activates it again; it listens or calls after `kActivationSeconds`. During
/// shutdown it stays inactive. Never fails.
void ETH_Riconnetti(Library& library, ConnectionRecord& record);

/// Trace that the socket event `evento` reported error `codice`, and raise the error notice. Throw if port or
/// host cannot be read.
void ErroreSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);
void ErroreSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);

}  // namespace quarnex
