#include "host/snapshot.h"

#include <optional>

#include "engine/diagnostics/event_reports.h"
#include "engine/records/frm_sock.h"
#include "engine/records/library.h"
#include "engine/records/trap.h"

namespace quarnex {
namespace {

LinkPhase phaseOf(Library& library, const ConnectionRecord& record) {
  if (!record.UsaTcp) return LinkPhase::Local;
  if (!record.Attivo) return LinkPhase::Closed;
  if (record.Stato == kConnected) return LinkPhase::Connected;
  std::int32_t state = kSocketClosed;
  Trap unreadable{library};
  unreadable([&] {
    state = record.ConnessioneClient ? ClientSocket(library, record.IdxClient).state()
                                     : ServerSocket(library, record.IdxServer).state();
  });
  if (isIdle(state)) return LinkPhase::Waiting;
  return record.ConnessioneClient ? LinkPhase::Calling : LinkPhase::Listening;
}

void fillEndpoint(Library& library, LinkSnapshot& snapshot, const ConnectionRecord& record) {
  if (record.UsaTcp) snapshot.port = endpointOf(library, record).port;
  snapshot.endpoint = DescriviPunto(library, record);
}

// Only a message resets the counts of overdue answers and silent periods, so until the first message of a
// connection they may be those of the connection before it.
void fillPast(LinkSnapshot& snapshot, const ConnectionRecord& record) {
  snapshot.since = record.history.since.second;
  snapshot.messageReceived = snapshot.phase == LinkPhase::Connected && record.history.messageReceived;
  snapshot.overdue = snapshot.messageReceived && (record.ContaTimeoutB > 0 || record.ContaAlive > 0);
  if (record.history.ledger) snapshot.lastFailure = record.history.ledger->lastFailure;
}

void fillDeadlines(LinkSnapshot& snapshot, const ConnectionRecord& record) {
  if (snapshot.phase == LinkPhase::Connected) {
    snapshot.keepAliveDeadline = record.ScadenzaAlive.second;
    snapshot.replyDeadline = record.ScadenzaB.second;
  } else if (record.Attivo && record.UsaTcp) {
    snapshot.deadline = record.ScadenzaStato.second;
  }
}

std::optional<std::int64_t> timeOf(ShortInstant instant) {
  return instant.isSet() ? std::optional<std::int64_t>(instant.second) : std::nullopt;
}

void fillCounts(LinkSnapshot& snapshot, const ConnectionRecord& record) {
  snapshot.outbound = record.CodaInvio.Count;
  snapshot.inbound = record.CodaArrivo.Count;
  snapshot.captured = record.CodaDebug.Count;
  snapshot.batchInFlight = record.AttesaRitrasmissione > 0;
  snapshot.failures = record.ContaNonRisponde;
  snapshot.textsSent = record.history.textsSent;
  snapshot.textsReceived = record.history.textsReceived;
  snapshot.lastHeard = timeOf(record.history.lastHeard);
  snapshot.lastSent = timeOf(record.history.lastSent);
  snapshot.lastAcknowledged = timeOf(record.history.lastAcknowledged);
  if (record.history.ledger) {
    snapshot.outcomes = record.history.ledger->outcomes;
    snapshot.undecided = record.history.ledger->book.undecided();
    snapshot.receivedDropped = record.history.ledger->receivedDropped;
  }
  snapshot.framesSent = record.history.framesSent;
  snapshot.framesReceived = record.history.framesReceived;
  snapshot.repetitions = record.history.repetitions;
  snapshot.badChecksums = record.history.badChecksums;
  snapshot.reconnections = record.history.reconnections;
}

void fillMemory(Library& library, LinkSnapshot& snapshot, const ConnectionRecord& record) {
  snapshot.bytesHeld = record.bytesHeld;
  snapshot.limitSince = timeOf(record.history.limitSince);
  if (snapshot.phase == LinkPhase::Connected)
    snapshot.bytesUnsent = frameSocket(library, record).unsentBytes();
}

}  // namespace

LinkSnapshot takeSnapshot(Library& library, std::int16_t IdxQuarn) {
  LinkSnapshot snapshot;
  if (!library.validIndex(IdxQuarn)) return snapshot;
  const ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  snapshot.index = IdxQuarn;
  snapshot.type = record.Tipo;
  snapshot.identifier = record.IdQuarn;
  snapshot.client = record.ConnessioneClient;
  snapshot.tcp = record.UsaTcp;
  snapshot.phase = phaseOf(library, record);
  snapshot.subState = record.StatoB;
  snapshot.closing = record.Attivo && !record.Aperto;
  snapshot.reportedDown = record.NonRispondeSegnalato;
  snapshot.lastError = record.UltimoErrore;
  Trap unreadable{library};
  unreadable([&] { fillEndpoint(library, snapshot, record); });
  unreadable([&] { fillMemory(library, snapshot, record); });
  unreadable([&] {
    if (record.IdxServer > 0)
      snapshot.callersRefused = ServerSocket(library, record.IdxServer).refusedCallers();
  });
  fillPast(snapshot, record);
  fillDeadlines(snapshot, record);
  fillCounts(snapshot, record);
  snapshot.why = whySentence(library, record, snapshot);
  return snapshot;
}

}  // namespace quarnex
