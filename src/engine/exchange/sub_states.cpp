#include "engine/exchange/sub_states.h"

#include "engine/diagnostics/event_reports.h"
#include "engine/exchange/sending.h"
#include "engine/link/failure_handling.h"
#include "engine/message/outbound.h"
#include "engine/records/record_operations.h"
#include "engine/records/text_pieces.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
void runSubState(Library& library, ConnectionRecord& record) {
  switch (record.StatoB) {
    case kExchangeReset:
      return AzzeraStatoB(library, record);
    case kExchangeReady:
      return HandleStato_A(library, record);
    case kExchangeWaiting:
      return HandleStato_B(library, record);
    case kExchangeIdle:
      return HandleStato_C(library, record);
    default:
      return;
  }
}

void AzzeraStatoB(Library& library, ConnectionRecord& record) {
  clearText(record.UltimoInviato);
  record.RicevutoQRY = record.RicevutoCMD = record.RicevutoACK = record.RicevutoNODATA = false;
  record.ContaTimeoutB = 0;
  ImpostaStatoB(library, record, kExchangeReady);
}

void HandleStato_A(Library& library, ConnectionRecord& record) {
  if (!record.UltimoInviato.empty()) {
    ++record.history.repetitions;
    InviaFrame(library, record, record.UltimoInviato);
  } else if (!record.ConnessioneClient) {
    return;
  } else if (ScegliInvio(library, record)) {
    InviaFrame(library, record, *record.DaInviare);
  } else {
    InviaComando(library, record, "QRY", "");
  }
  ImpostaStatoB(library, record, kExchangeWaiting);
}

void HandleStato_B(Library& library, ConnectionRecord& record) {
  if (!ScadenzaPassata(library, record.ScadenzaB)) return;
  ++record.ContaTimeoutB;
  if (record.ContaTimeoutB <= kOverdueAnswersTolerated) return ImpostaStatoB(library, record, kExchangeReady);
  AvvisoETH(library, record.IdxQuarn, 0, " Errore Timeout HandleStato_B ");
  NonRisponde(library, record, {FailureKind::ReplyTimeout});
  ImpostaStatoB(library, record, kExchangeReset);
  record.ContaTimeoutB = 0;
}

void HandleStato_C(Library& library, ConnectionRecord& record) {
  const bool batchReady = ScegliInvio(library, record);
  if (batchReady || ScadenzaPassata(library, record.ScadenzaB))
    ImpostaStatoB(library, record, kExchangeReady);
}

}  // namespace quarnex
