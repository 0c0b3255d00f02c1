// Puts a link into service and takes it out again (GestioneETH, HandleETH).
#pragma once

#include <cstdint>

#include "engine/records/library.h"

namespace quarnex {

/// Puts a link into service: unless it is connected, its exchange is reset, its queues are emptied and it
/// waits `kActivationSeconds` for its first listen or call. Starts the timer if it does not run. `cause`: why
/// texts that wait are dropped. Never fails.
void AttivaSocket(Library& library, ConnectionRecord& record, ReceiptCause cause);

/// Takes a link out of service at the host's request: at once, or by asking the connected peer to close.
/// Never fails.
void ChiudiSocket(Library& library, ConnectionRecord& record);

/// Queues the close request "9K" for the peer.
void AccodaChiusura(Library& library, std::int16_t IdxQuarn);

/// Close a link for good: sockets closed, inactive, 702 and 993 to the host. Never fail.
void ChiudiServer(Library& library, std::int16_t IdxQuarn);
void ChiudiClient(Library& library, ConnectionRecord& record);

}  // namespace quarnex
