// Modulo_Main: deadlines, the one door for each change of phase, and the resets that the other modules share.
#pragma once

#include <cstdint>

#include "engine/records/library.h"

namespace quarnex {

/// Now plus `seconds`.
Instant CalcolaScadenza(Library& library, std::int16_t seconds);

/// True from the second after the deadline's on.
inline bool ScadenzaPassata(Library& library, Instant deadline) {
  return passed(deadline, library.services.clock.now());
}

/// Sets the phase together with its deadline, `seconds` from now.
void ImpostaStato(Library& library, ConnectionRecord& record, std::int16_t stato, std::int16_t seconds);

/// Sets the exchange sub-state and gives it 5 seconds.
void ImpostaStatoB(Library& library, ConnectionRecord& record, std::int16_t valore);

/// Arms the keep-alive: 10 seconds for a client link, 15 for a server link.
void ArmaAlive(Library& library, ConnectionRecord& record);
/// The same, and forgets the expiries so far.
void RinnovaAlive(Library& library, ConnectionRecord& record);

/// Brings the receive and exchange fields back to their starting values. Also frees the handler's guard, even
/// while the handler runs further up the stack.
void ResetScambio(Library& library, ConnectionRecord& record);

/// Brings the supervision fields back to their starting values.
void ResetLink(Library& library, ConnectionRecord& record);

}  // namespace quarnex
