#include "engine/exchange/sending.h"

#include <utility>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/exchange/frame.h"
#include "engine/link/failure_handling.h"
#include "engine/records/frm_sock.h"
#include "engine/records/integer.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/times_and_limits.h"
#include "services/assertion.h"

namespace quarnex {
namespace {

[[maybe_unused]] bool isWhole(std::string_view frame) {
  return frame.front() == kStx && frame.back() == kEtx && checksumHolds(frame);
}

void sendFrame(Library& library, ConnectionRecord& record, std::string_view messaggio, Trap& trap) {
  std::string frame = std::move(library.frameStorage);
  trap([&] {
    makeFrame(frame, messaggio);
    ++record.history.framesSent;
    Traccia(library, record.IdxQuarn, "I>", std::string_view(frame).substr(1, frame.size() - 4));
  });
  trap([&] {
    QUARNEX_ASSERT(frame.empty() || isWhole(frame));  // empty: there was no memory for it
    frameSocket(library, record).send(frame);
  });
  clearText(frame);
  library.frameStorage = std::move(frame);
}

void handleSendFailure(Library& library, ConnectionRecord& record, Trap& trap) {
  if (!trap.pending()) return;
  const std::int32_t number = trap.number();
  const std::string description = trap.description();
  trap([&] { ErroreETH(library, record.IdxQuarn, toInteger(number), "Errore Invio " + description); });
  trap([&] { NonRisponde(library, record, {FailureKind::SendFailed, number, description}); });
}

}  // namespace

void InviaFrame(Library& library, ConnectionRecord& record, std::string_view messaggio) {
  Trap trap{library};
  if (messaggio.empty()) return record.UltimoInviato.clear();
  noteDataSent(record, messaggio.data() != record.UltimoInviato.data());
  trap([&] { record.UltimoInviato.assign(messaggio); });
  if (!trap.pending()) sendFrame(library, record, record.UltimoInviato, trap);
  ImpostaStatoB(library, record, kExchangeWaiting);
  record.history.lastSent = Instant{record.ScadenzaB.second - kReplySeconds};
  handleSendFailure(library, record, trap);
}

void InviaComando(Library& library, ConnectionRecord& record, std::string_view comando,
                  std::string_view argomento) {
  Trap trap{library};
  std::string message;
  trap([&] {
    message = concat("000", ZeroPadded{record.IdQuarn, 3}, argomento.empty() ? '2' : '3', "|9", comando);
    if (!argomento.empty()) message.append("|9").append(argomento);
    message += "|9.|";
  });
  record.history.acks.sendsWords(record.ConnessioneClient, argomento == "QRY" || comando == "QRY");
  if (!trap.pending()) sendFrame(library, record, message, trap);
  ImpostaStatoB(library, record, kExchangeReady);
  record.history.lastSent = Instant{record.ScadenzaB.second - kReplySeconds};
  handleSendFailure(library, record, trap);
}

}  // namespace quarnex
