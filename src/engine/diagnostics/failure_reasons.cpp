#include "engine/diagnostics/failure_reasons.h"

#include <memory>
#include <utility>

#include "engine/records/text_pieces.h"
#include "engine/records/trap.h"

namespace quarnex {
namespace {

constexpr std::pair<std::int32_t, std::string_view> kSocketErrors[] = {
    {10038, "Socket operation on non-socket"},
    {10048, "The specified address is already in use"},
    {10049, "The specified address is not available"},
    {10053, "The current connection has been aborted by the network"},
    {10060, "The current connection has timed out"},
    {10061, "The requested connection has been refused by the remote host"},
    {10064, "Remote host is currently unavailable"},
    {10065, "Remote host is currently unreachable"},
    {10091, "Remote system is not ready"},
};

LinkPhase phaseOfFailure(const ConnectionRecord& rec) {
  if (rec.Stato == kConnected) return LinkPhase::Connected;
  return rec.ConnessioneClient ? LinkPhase::Calling : LinkPhase::Listening;
}

}  // namespace

void rememberConnection(Library& library, ConnectionRecord& rec) {
  rec.history.since = library.services.clock.now();
  rec.history.messageReceived = false;
}

void rememberFailure(Library& library, ConnectionRecord& rec, LinkFailure failure) {
  Trap withoutMemory{library};
  withoutMemory([&] {
    failure.at = library.services.clock.now().second;
    failure.phase = phaseOfFailure(rec);
    rec.history.lastFailure = std::make_unique<LinkFailure>(std::move(failure));
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

std::string_view socketErrorWords(std::int32_t number) {
  for (const auto& [known, words] : kSocketErrors) {
    if (known == number) return words;
  }
  return {};
}

std::string socketErrorText(std::int16_t codice) {
  const std::string_view words = socketErrorWords(codice);
  return words.empty() ? concat("ErrorCode:", codice) : concat(' ', words, '.');
}

}  // namespace quarnex
