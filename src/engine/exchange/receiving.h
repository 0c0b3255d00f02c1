// HandleAvanzato: the receive step: bytes from the socket, and at most one frame cut out of them.
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// Fetches what waits and appends it to `Ricevuto` (one step: if it fails nothing is appended), then cuts at
/// most one frame unless a complete one still waits. Never fails.
void RiceviFrame(Library& library, ConnectionRecord& record);

/// Consumes `Ricevuto` up to its first end character, or all of it. Characters outside a frame are dropped,
/// also an end character; a start character inside a frame is an ordinary one. Each byte is looked at once.
void cutFrame(ConnectionRecord& record);

}  // namespace quarnex
