#include "engine/diagnostics/failure_reasons.h"

#include <memory>
#include <utility>

#include "engine/events/telling.h"
#include "engine/records/text_pieces.h"
#include "engine/records/trap.h"
#include "services/socket_errors.h"

namespace quarnex {
namespace {

LinkPhase phaseOfFailure(const ConnectionRecord& rec) {
  if (rec.Stato == kConnected) return LinkPhase::Connected;
  return rec.ConnessioneClient ? LinkPhase::Calling : LinkPhase::Listening;
}

}  // namespace

void rememberConnection(Library& library, ConnectionRecord& rec) {
  rec.history.since = library.services.clock.now();
  rec.history.messageReceived = false;
  tellConnected(library, rec);
}

void rememberFailure(Library& library, ConnectionRecord& rec, LinkFailure failure) {
  Trap withoutMemory{library};
  withoutMemory([&] {
    failure.at = library.services.clock.now().second;
    failure.phase = phaseOfFailure(rec);
    ledgerOf(rec).lastFailure = std::move(failure);
    tellDown(library, rec);
  });
}

std::string reportText(const ConnectionRecord& rec, const LinkFailure& failure) {
  switch (failure.kind) {
    case FailureKind::ListenFailed:
      return concat("Listen ", failure.number, ' ', failure.text);
    case FailureKind::CallNotStarted:
      return concat("Connect ", failure.number, ' ', failure.text);
    case FailureKind::SendFailed:
      return concat("Send ", failure.number, ' ', failure.text);
    case FailureKind::CallFailed:
    case FailureKind::AcceptFailed:
      return rec.UltimoErrore;
    case FailureKind::ListenTimeout:
      return "Listen Timeout";
    case FailureKind::ConnectTimeout:
      return "Connect Timeout";
    case FailureKind::KeepAliveTimeout:
      return "Alive Timeout";
    case FailureKind::ReplyTimeout:
      return "Timeout HandleStato_B";
    case FailureKind::FrameTooLong:
      return "Frame Too Long";
    case FailureKind::ClosedByPeer:
    case FailureKind::ConnectionBroken:
    case FailureKind::PeerAskedToClose:
      break;
  }
  return {};
}

std::string socketErrorText(std::int16_t codice) {
  const std::string_view words = socketNoticeWords(codice);
  return words.empty() ? concat("ErrorCode:", codice) : concat(' ', words, '.');
}

}  // namespace quarnex
