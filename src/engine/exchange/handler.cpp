#include "engine/exchange/handler.h"

#include <string>
#include <string_view>
#include <utility>

#include "engine/diagnostics/failure_reasons.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/exchange/frame.h"
#include "engine/exchange/receiving.h"
#include "engine/exchange/sending.h"
#include "engine/exchange/sub_states.h"
#include "engine/link/failure_handling.h"
#include "engine/message/outbound.h"
#include "engine/message/splitting.h"
#include "engine/records/integer.h"
#include "engine/records/memory_budget.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/failure.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

constexpr std::string_view kFrameEndLine =
    "++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++++";

void traceBadChecksum(Library& library, const ConnectionRecord& record, std::string_view frame) {
  const std::string_view body = frameBody(frame);
  traceDamagedFrame(library, record.IdxQuarn, "RADV>", body);
  traceDamagedFrame(
      library, record.IdxQuarn, "error cks>", [&] { return HexDump(frame); }, "<>",
      [&] {
        const ChecksumCharacters expected = charactersOf(CalcolaCks(body));
        return HexDump(std::string{expected.high, expected.low});
      });
}

// Appends the acknowledgement to a data message that is sent anyway. The field count is one character: past
// code 255 it cannot be raised, and the field stays appended without being counted.
void addAcknowledgement(std::string& message, Trap& trap) {
  message.append("9ACK").append(Separatore());
  trap([&] {
    auto& count = message.at(kFieldCountPosition - 1);
    if (static_cast<unsigned char>(count) == '0' + kFieldsMax)
      throw Failure(5, "Invalid procedure call or argument");
    ++count;
  });
}

void answerData(Library& library, ConnectionRecord& record, Trap& trap) {
  if (!record.ConnessioneClient) {
    InviaComando(library, record, "ACK", "");
    return ImpostaStatoB(library, record, kExchangeIdle);
  }
  const bool batchReady = ScegliInvio(library, record);
  if (record.UltimoInviato.empty() && !batchReady) {
    InviaComando(library, record, "ACK", "QRY");
  } else if (!record.UltimoInviato.empty()) {
    addAcknowledgement(record.UltimoInviato, trap);
    InviaFrame(library, record, record.UltimoInviato);
  } else if (ScegliInvio(library, record)) {
    std::string message = *record.DaInviare;
    addAcknowledgement(message, trap);
    InviaFrame(library, record, message);
  } else {
    return;
  }
  ImpostaStatoB(library, record, kExchangeWaiting);
}

void answerQuery(Library& library, ConnectionRecord& record) {
  if (!record.UltimoInviato.empty()) {
    ++record.history.repetitions;
    InviaFrame(library, record, record.UltimoInviato);
  } else if (ScegliInvio(library, record)) {
    InviaFrame(library, record, *record.DaInviare);
  } else {
    InviaComando(library, record, "NODATA", "");
    return ImpostaStatoB(library, record, kExchangeIdle);
  }
  ImpostaStatoB(library, record, kExchangeWaiting);
}

// Answers every received word, in this order; the sub-state set last remains.
void answerWords(Library& library, ConnectionRecord& record, Trap& trap) {
  if (record.RicevutoACK) {
    noteAcknowledged(library, record);
    clearText(record.UltimoInviato);
    record.AttesaRitrasmissione = 0;
    ImpostaStatoB(library, record, kExchangeReady);
    record.history.lastAcknowledged = Instant{record.ScadenzaB.second - kReplySeconds};
    record.RicevutoACK = false;
  }
  if (record.RicevutoCMD) {
    trap([&] { answerData(library, record, trap); });
    record.RicevutoCMD = false;
  }
  if (record.RicevutoQRY) {
    noteQuery(library, record);
    trap([&] { answerQuery(library, record); });
    record.RicevutoQRY = false;
  }
  if (record.RicevutoNODATA) {
    noteNoData(library, record);
    ImpostaStatoB(library, record, kExchangeIdle);
    record.ScadenzaB = CalcolaScadenza(library, 0);
    record.RicevutoNODATA = false;
  }
}

void acceptFrame(Library& library, ConnectionRecord& record, std::string_view frame, Trap& trap) {
  const std::string_view body = frameBody(frame);
  trap([&] { Traccia(library, record.IdxQuarn, "R>", body); });
  const std::string_view message =
      body.size() < kFrameHeader.size() ? body : body.substr(kFrameHeader.size());
  trap([&] { DividiMessaggio(library, record, message); });
  answerWords(library, record, trap);
}

// A socket event during this step may reset the record, so the frame is moved out of it first.
void handleFrame(Library& library, ConnectionRecord& record, Trap& trap) {
  record.ContaTimeoutB = 0;
  ++record.history.framesReceived;
  std::string frame = std::move(record.FrameRicevuto);
  if (checksumHolds(frame)) {
    acceptFrame(library, record, frame, trap);
  } else {
    ++record.history.badChecksums;
    trap([&] { traceBadChecksum(library, record, frame); });
  }
  record.FrameCompleto = false;
  clearText(frame);
  record.FrameRicevuto = std::move(frame);
  trap([&] { Traccia(library, record.IdxQuarn, kFrameEndLine); });
  keepWithinBudget(library, record);
}

}  // namespace

void Handler_ADV(Library& library, ConnectionRecord& record) {
  Trap trap{library};
  RiceviFrame(library, record);
  if (isFrameTooLong(library, record)) {
    return trap([&] { NonRisponde(library, record, {FailureKind::FrameTooLong}); });
  }
  // A socket event delivered inside the fetch may have ended the connection.
  if (record.Stato == kConnected) trap([&] { ControllaAlive(library, record); });
  if (record.FrameCompleto) {
    handleFrame(library, record, trap);
  } else {
    trap([&] { runSubState(library, record); });
  }
  if (record.ChiusuraRemota) {
    record.ChiusuraRemota = false;
    trap([&] { rememberFailure(library, record, {FailureKind::PeerAskedToClose}); });
    trap([&] { ETH_Riconnetti(library, record); });
    if (!record.Attivo) tellClosed(library, record, false);
  }
  if (trap.pending()) {
    trap([&] { TracciaErrore(library, record.IdxQuarn, toInteger(trap.number()), "error ETH Handler_ADV"); });
  }
}

}  // namespace quarnex
