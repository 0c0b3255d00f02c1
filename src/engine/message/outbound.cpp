#include "engine/message/outbound.h"

#include <string>

#include "engine/diagnostics/trace.h"
#include "engine/message/service_words.h"
#include "engine/records/inbound.h"
#include "engine/records/memory_budget.h"
#include "engine/records/record_operations.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

// The texts leave the queue only when the complete message is built: if memory is exhausted they stay.
void buildBatch(ConnectionRecord& rec) {
  const auto texts = BufferTexts(rec.CodaInvio, kTextsPerBatchMax);
  std::string& message = rec.UltimoLotto;
  clearText(message);
  const auto fields = static_cast<char>('0' + 2 + texts.size());  // "9CMD" and "9.", too
  message += concat("000", ZeroPadded{rec.IdQuarn, 3}, fields);
  for (const std::string_view text : texts) (message += '|') += text;
  message += "|9CMD|9.|";
  for (const std::string_view text : texts)
    if (!isServiceWord(text)) ++rec.history.textsSent;
  for (std::size_t sent = texts.size(); sent > 0; --sent) BufferDrop(rec.CodaInvio);
}

void empty(TextBuffer& queue) {
  while (queue.Count > 0) BufferDrop(queue);
}

}  // namespace

bool PreparaLotto(Library& library, ConnectionRecord& rec) {
  if (rec.CodaInvio.Count == 0) return false;
  buildBatch(rec);
  rec.DaInviare = &rec.UltimoLotto;
  rec.AttesaRitrasmissione = kRepetitionTicks;
  Traccia(library, rec.IdxQuarn, "IN CANNA:", *rec.DaInviare);
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
    putInbound(library, twin, s);
    return Traccia(library, index, "R>:", ZeroPadded{twin.CodaArrivo.Count, 5}, ' ', s);
  }
}

void SvuotaCode(Library& library, std::int16_t IdxQuarn) {
  ConnectionRecord& rec = library.ConnectionTable[IdxQuarn];
  empty(rec.CodaInvio);
  rec.AttesaRitrasmissione = 0;
  empty(rec.CodaArrivo);
  countHeldBytes(library, rec);
}

}  // namespace quarnex
