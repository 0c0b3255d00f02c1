// Fetches bytes from the socket and cuts at most one frame out of them (HandleAvanzato).
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// Fetches the waiting bytes, if the link may hold more, and appends them to `Ricevuto`, all or nothing, then
/// cuts at most one frame unless a complete one is still unhandled. Never fails.
void RiceviFrame(Library& library, ConnectionRecord& record);

/// Consumes `Ricevuto` up to its first end character, or all of it. Drops characters outside a frame,
/// including end characters. Treats a start character inside a frame as an ordinary one. Examines each byte
/// once.
void cutFrame(ConnectionRecord& record);

}  // namespace quarnex
