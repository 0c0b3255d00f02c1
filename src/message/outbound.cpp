#include "message/outbound.h"

#include <string>

#include "component/record_operations.h"
#include "diagnostics/trace.h"
#include "message/service_words.h"

namespace quarnex {
namespace {

constexpr int kTextsPerBatchMax = 20;
constexpr std::int16_t kRepetitionTicks = 25;

void buildBatch(ConnectionRecord& rec) {
  std::string& message = rec.UltimoLotto;
  svuota(message);
  message += componi("000", Zeri{rec.IdQuarn, 3}, '0');
  const std::size_t countAt = message.size() - 1;
  char fields = 2;  // "9CMD" and "9."
  for (int taken = 0; rec.CodaInvio.Count > 0 && taken < kTextsPerBatchMax; ++taken, ++fields) {
    const std::string_view text = BufferFront(rec.CodaInvio);
    message += '|';
    message += text;
    if (!ParolaDiServizio(text)) ++rec.history.textsSent;
    BufferDrop(rec.CodaInvio);
  }
  message += "|9CMD|9.|";
  message[countAt] = static_cast<char>('0' + fields);
}

void empty(TextBuffer& queue) {
  while (queue.Count > 0) BufferDrop(queue);
}

}  // namespace

bool PreparaLotto(Library& library, ConnectionRecord& rec) {
  if (rec.CodaInvio.Count == 0) return false;
  buildBatch(rec);
  rec.DaInviare = &rec.UltimoLotto;
  Traccia(library, rec.IdxQuarn, "IN CANNA:", *rec.DaInviare);
  rec.AttesaRitrasmissione = kRepetitionTicks;
  return true;
}

bool ScegliInvio(Library& library, ConnectionRecord& rec) {
  rec.DaInviare = nullptr;
  if (rec.Stato == kConnected && rec.AttesaRitrasmissione >= 2) rec.AttesaRitrasmissione = 1;
  if (rec.AttesaRitrasmissione >= 2) {
    --rec.AttesaRitrasmissione;
    return false;
  }
  if (rec.AttesaRitrasmissione == 1) {
    if (!rec.UltimoLotto.empty()) rec.DaInviare = &rec.UltimoLotto;
    rec.AttesaRitrasmissione = kRepetitionTicks;
    return rec.DaInviare != nullptr;
  }
  return PreparaLotto(library, rec);
}

void ConsegnaLocale(Library& library, std::int16_t IdxQuarn, std::string_view s) {
  const ConnectionRecord& sender = library.ConnectionTable[IdxQuarn];
  const int count = library.ConnectionCount;
  for (int i = 1; i <= count; ++i) {
    const auto index = static_cast<std::int16_t>(i);
    ConnectionRecord& twin = library.ConnectionTable[index];
    if (index == IdxQuarn || twin.Tipo != sender.Tipo || twin.IdQuarn != sender.IdQuarn) continue;
    ++twin.history.textsReceived;
    BufferPut(twin.CodaArrivo, s);
    return Traccia(library, index, "R>:", Zeri{twin.CodaArrivo.Count, 5}, ' ', s);
  }
}

void SvuotaCode(Library& library, std::int16_t IdxQuarn) {
  ConnectionRecord& rec = library.ConnectionTable[IdxQuarn];
  empty(rec.CodaInvio);
  rec.AttesaRitrasmissione = 0;
  empty(rec.CodaArrivo);
}

}  // namespace quarnex
