#include "engine/diagnostics/event_reports.h"

#include <utility>

#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/event_report.h"

namespace quarnex {
namespace {

void traceNotice(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo) {
  if (codice != 0) {
    Traccia(library, IdxQuarn, EthTag(library, IdxQuarn), " ERROR CODE :", codice, ' ', testo);
  } else {
    Traccia(library, IdxQuarn, EthTag(library, IdxQuarn), ' ', testo);
  }
}

}  // namespace

std::string TimbroEvento(Library& library) {
  const Instant now = library.services.clock.now();
  const LocalTime time = localTime(now, library.services.clock.utcOffset(now));
  return concat(ZeroPadded{time.hour, 2}, ZeroPadded{time.minute, 2}, ZeroPadded{time.second, 2},
                ZeroPadded{time.day, 2}, ZeroPadded{time.month, 2}, ZeroPadded{time.year, 4});
}

Endpoint endpointOf(Library& library, const ConnectionRecord& rec) {
  SocketInstance& socket =
      rec.ConnessioneClient ? ClientSocket(library, rec.IdxClient) : ServerSocket(library, rec.IdxServer);
  std::string host = socket.remoteHost();
  return {std::move(host), toInteger(rec.ConnessioneClient ? socket.remotePort() : socket.localPort())};
}

std::string inWords(const Endpoint& endpoint) {
  return concat(endpoint.host, ':', endpoint.port);
}

std::string DescriviPunto(Library& library, const ConnectionRecord& rec) {
  return rec.UsaTcp ? inWords(endpointOf(library, rec)) : "Buffer";
}

void SegnalaEvento(Library& library, ConnectionRecord& rec, std::int16_t codice, std::string_view dettaglio) {
  const std::string stamp = TimbroEvento(library);
  std::string report = concat("X000E", ZeroPadded{codice, 4}, "[#I", rec.IdQuarn, "#$T", rec.Tipo, '$');
  if (!dettaglio.empty()) (report += "$S").append(dettaglio) += '$';
  report += ']' + stamp;
  Traccia(library, rec.IdxQuarn, "P:", report);
  queueReport(library, rec, report);
}

void SegnalaConnesso(Library& library, ConnectionRecord& rec) {
  RinnovaAlive(library, rec);
  SegnalaEvento(library, rec, kConnectedReport, DescriviPunto(library, rec));
  rec.ConnessioneSegnalata = true;
}

void SegnalaDisconnesso(Library& library, ConnectionRecord& rec) {
  SegnalaEvento(library, rec, kDisconnectedReport, "");
  rec.ConnessioneSegnalata = false;
}

void SegnalaRisponde(Library& library, ConnectionRecord& rec) {
  if (rec.NonRispondeSegnalato) {
    rec.NonRispondeSegnalato = false;
    SegnalaEvento(library, rec, kAnsweringAgainReport, "");
    tell(library, rec, EventType::AnsweringAgain);
  }
  rec.ContaNonRisponde = 0;
}

void SegnalaAnomalia(Library& library, ConnectionRecord& rec, std::string_view motivo) {
  if (!rec.AnomaliaSegnalata) {
    tellFailure(library, rec, EventType::Failure);
    SegnalaEvento(library, rec, kFailureBegunReport, concat(DescriviPunto(library, rec), ' ', motivo));
  }
  rec.AnomaliaSegnalata = true;
}

void SegnalaAnomaliaRientrata(Library& library, ConnectionRecord& rec) {
  if (!rec.AnomaliaSegnalata) return;
  rec.AnomaliaSegnalata = false;
  tell(library, rec, EventType::FailureOver);
  SegnalaEvento(library, rec, kFailureEndedReport, "");
}

void SegnalaErrore(Library& library, ConnectionRecord& rec, std::string_view testo) {
  SegnalaEvento(library, rec, kErrorNoticeReport, concat(DescriviPunto(library, rec), ' ', testo));
}

void ErroreETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo) {
  ConnectionRecord& rec = library.ConnectionTable[IdxQuarn];
  traceNotice(library, IdxQuarn, codice, testo);
  if (codice != 0) {
    rec.UltimoErrore = concat(codice, ' ', testo);
    SegnalaErrore(library, rec, std::string(rec.UltimoErrore));
  } else {
    SegnalaErrore(library, rec, testo);
  }
  clearPendingFailures(library);
}

void AvvisoETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo) {
  traceNotice(library, IdxQuarn, codice, testo);
  clearPendingFailures(library);
}

}  // namespace quarnex
