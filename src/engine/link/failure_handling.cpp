#include "engine/link/failure_handling.h"

#include <utility>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/failure_reasons.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/link/activation.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/event_report.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

void countFailure(Library& library, ConnectionRecord& record, std::string_view motivo) {
  if (record.NonRispondeSegnalato) return;
  ++record.ContaNonRisponde;
  if (record.ContaNonRisponde <= library.MaxTentativi) return;
  record.NonRispondeSegnalato = true;
  tellFailure(library, record, EventType::NotAnswering);
  record.ContaNonRisponde = 0;
  SegnalaEvento(library, record, kNotAnsweringReport, concat(DescriviPunto(library, record), ' ', motivo));
}

void takeDownClient(Library& library, ConnectionRecord& record, Trap& trap) {
  std::int16_t port = 0;
  std::string host;
  trap([&] { port = toInteger(ClientSocket(library, record.IdxClient).remotePort()); });
  trap([&] { host = ClientSocket(library, record.IdxClient).remoteHost(); });
  trap([&] { ErroreETH(library, record.IdxQuarn, 0, concat("DISCONNETTO Client ", port, ' ', host)); });
  trap([&] { ClientSocket(library, record.IdxClient).close(); });
}

void takeDownServer(Library& library, ConnectionRecord& record, Trap& trap) {
  std::int16_t port = 0;
  trap([&] { port = toInteger(ServerSocket(library, record.IdxServer).localPort()); });
  trap([&] { ErroreETH(library, record.IdxQuarn, 0, concat("DISCONNETTO Server ", port)); });
  trap([&] { SrvAccept(library, record.IdxServer).close(); });
  trap([&] { ServerSocket(library, record.IdxServer).close(); });
}

}  // namespace

void NonRisponde(Library& library, ConnectionRecord& record, LinkFailure failure) {
  const std::string motivo = reportText(record, failure);
  clearPendingFailures(library);
  rememberFailure(library, record, std::move(failure));
  Traccia(library, record.IdxQuarn, "NON RISPONDE ", [&] { return EthTag(library, record.IdxQuarn); });
  ETH_Riconnetti(library, record);
  countFailure(library, record, motivo);
  SegnalaAnomalia(library, record, motivo);
  if (!record.Attivo) tellClosed(library, record, false);
}

void ETH_Riconnetti(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  ++record.history.reconnections;
  tellDisconnected(library, record, false);
  trap([&] {
    Traccia(library, record.IdxQuarn, "ETH_Riconnetti ", [&] { return EthTag(library, record.IdxQuarn); });
  });
  record.ChiusuraRemota = false;
  record.ConnessioneClient ? takeDownClient(library, record, trap) : takeDownServer(library, record, trap);
  ImpostaStato(library, record, kSocketPhase, kActivationSeconds);
  trap([&] { AttivaSocket(library, record, ReceiptCause::Reconnection); });
  trap([&] { SegnalaDisconnesso(library, record); });
  if (library.InUscita) record.Attivo = false;
}

void ErroreSocketClient(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento) {
  SocketInstance& socket = ClientSocket(library, library.ConnectionTable[IdxQuarn].IdxClient);
  const std::int16_t port = toInteger(socket.remotePort());
  const std::string host = socket.remoteHost();
  Traccia(library, IdxQuarn, evento, " ERROR CODE :", codice, ' ', EthTag(library, IdxQuarn), ' ', port, ' ',
          host);
  ErroreETH(library, IdxQuarn, codice, socketErrorText(codice));
}

void ErroreSocketServer(Library& library, std::int16_t IdxQuarn, std::int16_t codice,
                        std::string_view evento) {
  const std::int16_t port =
      toInteger(ServerSocket(library, library.ConnectionTable[IdxQuarn].IdxServer).localPort());
  Traccia(library, IdxQuarn, evento, " ERROR CODE :", codice, ' ', EthTag(library, IdxQuarn), ' ', port);
  ErroreETH(library, IdxQuarn, codice, socketErrorText(codice));
}

void keepAliveExpired(Library& library, ConnectionRecord& rec) {
  queueWord(library, rec, "9!");
  rec.ContaAlive = toInteger(rec.ContaAlive + 1);
  ArmaAlive(library, rec);
  if (rec.ContaAlive <= kSilentPeriodsTolerated) return;
  ErroreETH(library, rec.IdxQuarn, 0, "TIMEOUT Alive " + EthTag(library, rec.IdxQuarn));
  RinnovaAlive(library, rec);
  NonRisponde(library, rec, {FailureKind::KeepAliveTimeout});
}

}  // namespace quarnex
