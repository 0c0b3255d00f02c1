// Supervises links: probes a silent peer, handles every failure, and reconnects (gestione_TCP_generale,
// HandleETH).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"
#include "engine/records/record_operations.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// Handles a failure of a link, given by kind, number and text: reconnects the link, counts the failure, and
/// reports 109 and 991 when they are due. Clears all pending failures, including those of the callers.
void NonRisponde(Library& library, ConnectionRecord& record, LinkFailure failure);

/// Closes the link's sockets and activates it again; it listens or calls after `kActivationSeconds`. During
/// shutdown it stays inactive. Never fails.
void ETH_Riconnetti(Library& library, ConnectionRecord& record);

/// Queues the probe "9!" and arms the next period; fails the link if more than `kSilentPeriodsTolerated`
/// periods in a row were silent. Counts one period per call, however late the call.
void keepAliveExpired(Library& library, ConnectionRecord& rec);

/// Runs `keepAliveExpired` if the link has been silent for its period.
inline void ControllaAlive(Library& library, ConnectionRecord& rec) {
  if (ScadenzaPassata(library, rec.ScadenzaAlive)) keepAliveExpired(library, rec);
}

/// Trace that the socket event `evento` reported error `codice`, and raise the error notice. Throw if port or
/// host cannot be read.
void ErroreSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);
void ErroreSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento);

}  // namespace quarnex
