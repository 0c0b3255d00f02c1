// Runs the socket phase of a link: wait, call or listen, give up, wait again (HandleETH).
#pragma once

#include <cstdint>

#include "engine/records/library.h"

namespace quarnex {

/// One tick of an unconnected client link: after the deadline, calls if the socket is idle, otherwise fails
/// the link. Never fails itself.
void HandleClient(Library& library, ConnectionRecord& record);

/// Closes the socket and calls the peer, with `kCallSeconds` for an outcome. Any failing operation fails the
/// attempt, and the last failure is reported.
void ChiamaClient(Library& library, ConnectionRecord& record);

/// Fails the link because its call had no outcome in time.
void TimeoutChiamata(Library& library, ConnectionRecord& record);

/// Traces the socket's state. Throws if it cannot be read.
void TracciaSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t IdxClient);

/// One tick of an unconnected server link: after the deadline, listens if the listening socket is idle,
/// otherwise fails the link. Never fails itself.
void HandleServer(Library& library, ConnectionRecord& record);

/// Closes both sockets and listens, with `kListenSeconds` for a caller. Any failing operation fails the
/// attempt, and the last failure is reported.
void AscoltaServer(Library& library, ConnectionRecord& record);

/// Fails the link because no peer called in time.
void TimeoutAscolto(Library& library, ConnectionRecord& record);

/// Traces the states of both sockets. Throws if one cannot be read.
void TracciaSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t IdxServer);

}  // namespace quarnex
