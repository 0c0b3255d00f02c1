// Builds batches from the outbound queue, delivers texts inside the process and empties queues
// (gestione_TCP_generale).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Packs up to `kTextsPerBatchMax` queued texts into a new batch in `UltimoLotto` and points `DaInviare` to
/// it. False if no text is queued.
bool PreparaLotto(Library& library, ConnectionRecord& rec);

/// Points `DaInviare` to the message to send now: on a connected link the unacknowledged batch, at every
/// call, otherwise a new batch. Returns false, with `DaInviare` null, if there is nothing to send. Not a pure
/// query: never short-circuit a call to it.
bool ScegliInvio(Library& library, ConnectionRecord& rec);

/// Delivers a text of a link without TCP to the first other link of the same type and identifier.
void ConsegnaLocale(Library& library, std::int16_t IdxQuarn, std::string_view s);

/// Empties `CodaInvio` and `CodaArrivo` and forgets the batch in flight, for this reason.
void SvuotaCode(Library& library, std::int16_t IdxQuarn, ReceiptCause cause);

}  // namespace quarnex
