// Sets phases and sub-states with their deadlines, and resets records (Modulo_Main).
#pragma once

#include <cstdint>

#include "engine/records/library.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {

/// The deadline `seconds` from now.
Instant CalcolaScadenza(Library& library, std::int16_t seconds);

/// True from the second after the deadline onwards.
inline bool ScadenzaPassata(Library& library, Instant deadline) {
  return passed(deadline, library.services.clock.now());
}

/// Sets the phase together with its deadline, `seconds` from now.
void ImpostaStato(Library& library, ConnectionRecord& record, std::int16_t stato, std::int16_t seconds);

/// Sets the exchange sub-state with its deadline, `kReplySeconds` from now.
void ImpostaStatoB(Library& library, ConnectionRecord& record, std::int16_t valore);

/// Arms the keep-alive: `kClientAliveSeconds` or `kServerAliveSeconds` from now.
void ArmaAlive(Library& library, ConnectionRecord& record);
/// Arms the keep-alive and resets the count of its expiries.
void RinnovaAlive(Library& library, ConnectionRecord& record);

/// The time at which the keep-alive was armed last.
inline Instant aliveSince(const ConnectionRecord& record) {
  return {record.ScadenzaAlive.second -
          (record.ConnessioneClient ? kClientAliveSeconds : kServerAliveSeconds)};
}

/// Resets the fields of receiving and exchange. Also frees the handler's guard, even if the handler is
/// running further up the stack.
void ResetScambio(Library& library, ConnectionRecord& record);

/// Resets the fields of supervision.
void ResetLink(Library& library, ConnectionRecord& record);

}  // namespace quarnex
