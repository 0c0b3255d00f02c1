#include "engine/link/activation.h"

#include <string_view>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/message/outbound.h"
#include "engine/records/frm_sock.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

void reportClosedForGood(Library& library, ConnectionRecord& record, Trap& trap, std::string_view testo) {
  noteClosing(library, record, !trap.pending());
  record.Chiuso = true;
  record.history.since = library.services.clock.now();
  record.Aperto = false;
  RinnovaAlive(library, record);
  trap([&] { SegnalaDisconnesso(library, record); });
  trap([&] { ErroreETH(library, record.IdxQuarn, 0, testo); });
  tellClosed(library, record, true);
}

}  // namespace

void AttivaSocket(Library& library, ConnectionRecord& record, ReceiptCause cause) {
  Trap trap{library};
  if (record.Stato != kConnected) {
    ResetScambio(library, record);
    SvuotaCode(library, record.IdxQuarn, cause);
    trap([&] {
      Traccia(library, record.IdxQuarn, "ATTIVATO SOCKET ", record.ConnessioneClient ? "CLIENT " : "SERVER ",
              [&] { return EthTag(library, record.IdxQuarn); });
    });
    ImpostaStato(library, record, kSocketPhase, kActivationSeconds);
  }
  if (!record.Attivo) record.history.since = library.services.clock.now();
  record.Attivo = true;
  trap([&] { Form(library); });
  std::int16_t period = 0;  // of HiTime_QUARN; counts as stopped if it cannot be read
  trap([&] { period = library.services.timer.period(); });
  if (period == 0) trap([&] { library.services.timer.setPeriod(kTickMilliseconds); });
}

void ChiudiSocket(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  record.Aperto = false;
  if (!record.Attivo) return;
  trap([&] {
    if (record.Stato == kConnected) {
      AccodaChiusura(library, record.IdxQuarn);
    } else if (record.ConnessioneClient) {
      ChiudiClient(library, record);
    } else {
      ChiudiServer(library, record.IdxQuarn);
    }
  });
}

void AccodaChiusura(Library& library, std::int16_t IdxQuarn) {
  ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  queueWord(library, record, "9K");
  tell(library, record, EventType::Closing);
}

void ChiudiServer(Library& library, std::int16_t IdxQuarn) {
  ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  Trap trap{library};
  record.Attivo = false;
  trap([&] { SrvAccept(library, record.IdxServer).close(); });
  trap([&] { ServerSocket(library, record.IdxServer).close(); });
  reportClosedForGood(library, record, trap, "Chiuso/disattivato socket server ");
}

void ChiudiClient(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  record.Attivo = false;
  trap([&] { ClientSocket(library, record.IdxClient).close(); });
  reportClosedForGood(library, record, trap, "Chiuso/disattivato socket client ");
}

}  // namespace quarnex
