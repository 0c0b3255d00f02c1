#include "engine/records/record_operations.h"

#include "engine/records/memory_budget.h"
#include "engine/records/text_pieces.h"
#include "quarnex/times_and_limits.h"
#include "services/assertion.h"

namespace quarnex {

Instant CalcolaScadenza(Library& library, std::int16_t seconds) {
  return {library.services.clock.now().second + seconds};
}

void ImpostaStato(Library& library, ConnectionRecord& record, std::int16_t stato, std::int16_t seconds) {
  QUARNEX_ASSERT(stato == kSocketPhase || stato == kConnected);
  QUARNEX_ASSERT(seconds > 0);
  if (record.Stato != stato) record.history.since = library.services.clock.now();
  record.Stato = stato;
  record.ScadenzaStato = CalcolaScadenza(library, seconds);
}

void ImpostaStatoB(Library& library, ConnectionRecord& record, std::int16_t valore) {
  QUARNEX_ASSERT(valore >= kExchangeReset && valore <= kExchangeIdle);
  record.StatoB = valore;
  record.ScadenzaB = CalcolaScadenza(library, kReplySeconds);
}

void ArmaAlive(Library& library, ConnectionRecord& record) {
  record.ScadenzaAlive =
      CalcolaScadenza(library, record.ConnessioneClient ? kClientAliveSeconds : kServerAliveSeconds);
}

void RinnovaAlive(Library& library, ConnectionRecord& record) {
  ArmaAlive(library, record);
  record.ContaAlive = 0;
}

void ResetScambio(Library& library, ConnectionRecord& record) {
  record.FrameCompleto = false;
  clearText(record.FrameRicevuto);
  ImpostaStato(library, record, kSocketPhase, kResetSeconds);
  record.InFrame = false;
  record.FrameInCorso.clear();
  record.InEsecuzione = kHandlerFree;
  record.UltimoErrore.clear();
  record.Ricevuto.clear();
  clearText(record.UltimoInviato);
  record.RicevutoQRY = record.RicevutoCMD = record.RicevutoACK = record.RicevutoNODATA = false;
  ImpostaStatoB(library, record, kExchangeReset);
  record.ContaTimeoutB = 0;
  countHeldBytes(library, record);
}

void ResetLink(Library& library, ConnectionRecord& record) {
  record.DaInviare = nullptr;
  clearText(record.UltimoLotto);
  record.AttesaRitrasmissione = 0;
  record.Chiuso = false;
  record.NonRispondeSegnalato = false;
  record.ContaNonRisponde = 0;
  record.AnomaliaSegnalata = false;
  RinnovaAlive(library, record);
}

}  // namespace quarnex
