#include "engine/message/outbound.h"

#include <algorithm>
#include <string>
#include <vector>

#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/message/service_words.h"
#include "engine/records/memory_budget.h"
#include "engine/records/record_operations.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

// True if one message with such texts arrives as it was sent. Otherwise a text ends the message or one of its
// fields early, or the message is too long, and the fate of its other texts is unknown as well.
bool isIntact(std::string_view message, std::size_t texts) {
  constexpr std::size_t separatorsBesides = 3;  // before "9CMD", and around "9."
  return message.size() <= kMessageLengthMax && message.find_first_of("\2\3") == std::string_view::npos &&
         static_cast<std::size_t>(std::ranges::count(message, '|')) == texts + separatorsBesides;
}

// Tells which texts of the host are in the batch, and which of them the peer does not pass to its host.
void note(ConnectionRecord& rec, const std::vector<std::string_view>& texts) {
  if (!rec.history.ledger) return;
  const std::uint32_t words = BufferMarks(rec.CodaInvio);
  std::size_t own = 0;
  std::uint32_t spoilt = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if ((words >> i & 1) != 0) continue;
    if (texts[i].size() < kTextLengthMin || isServiceWord(texts[i])) spoilt |= 1U << own;
    ++own;
  }
  notePrepared(rec, own, isIntact(rec.UltimoLotto, texts.size()) ? spoilt : UINT32_MAX);
}

// The texts leave the queue only when the complete message is built: if memory is exhausted they stay.
void buildBatch(ConnectionRecord& rec) {
  const auto texts = BufferTexts(rec.CodaInvio, kTextsPerBatchMax);
  std::string& message = rec.UltimoLotto;
  clearText(message);
  const auto fields = static_cast<char>('0' + 2 + texts.size());  // "9CMD" and "9.", too
  message += concat("000", ZeroPadded{rec.IdQuarn, 3}, fields);
  for (const std::string_view text : texts) (message += '|') += text;
  message += "|9CMD|9.|";
  note(rec, texts);
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
    queueReceived(library, twin, s);
    noteLocal(library, library.ConnectionTable[IdxQuarn], true);
    return Traccia(library, index, "R>:", ZeroPadded{twin.CodaArrivo.Count, 5}, ' ', s);
  }
  noteLocal(library, library.ConnectionTable[IdxQuarn], false);
}

void SvuotaCode(Library& library, std::int16_t IdxQuarn, ReceiptCause cause) {
  ConnectionRecord& rec = library.ConnectionTable[IdxQuarn];
  noteAbandoned(library, rec, cause);
  tellReceivedDropped(library, rec, BufferUnmarked(rec.CodaArrivo), cause);
  empty(rec.CodaInvio);
  rec.AttesaRitrasmissione = 0;
  empty(rec.CodaArrivo);
  countHeldBytes(library, rec);
}

}  // namespace quarnex
