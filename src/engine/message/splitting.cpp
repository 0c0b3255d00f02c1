#include "engine/message/splitting.h"

#include <string>
#include <utility>

#include "engine/diagnostics/event_reports.h"
#include "engine/diagnostics/trace.h"
#include "engine/events/telling.h"
#include "engine/message/service_words.h"
#include "engine/records/integer.h"
#include "engine/records/memory_budget.h"
#include "engine/records/record_operations.h"
#include "engine/records/trap.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {
namespace {

void deliverField(Library& library, ConnectionRecord& rec, std::string_view field) {
  if (field.size() < kTextLengthMin) return;
  if (field.front() == '9') return GestisciServizio(library, rec, field);
  rec.RicevutoCMD = true;
  queueReceived(library, rec, field);
  Traccia(library, rec.IdxQuarn, "X:", field);
}

// Positions count from 1 and have 16 bits: a step beyond the largest fails and leaves the position unchanged.
void readFields(Library& library, ConnectionRecord& rec, std::string_view messaggio, Trap& trap) {
  const int count = static_cast<unsigned char>(messaggio[kFieldCountPosition - 1]) - '0';
  std::int16_t position = kFieldCountPosition + 1;
  for (int i = 0; i < count && CarattereUguale(messaggio, position, '|'); ++i) {
    trap([&] { position = toInteger(position + 1); });
    const std::string_view rest = messaggio.substr(static_cast<std::size_t>(position - 1));
    const std::string_view field = rest.substr(0, rest.find('|'));
    trap([&] { position = toInteger(position + static_cast<std::int64_t>(field.size())); });
    trap([&] { deliverField(library, rec, field); });
  }
}

}  // namespace

void DividiMessaggio(Library& library, ConnectionRecord& rec, std::string_view messaggio) {
  Trap trap{library};
  if (!rec.ConnessioneSegnalata) trap([&] { SegnalaConnesso(library, rec); });
  std::int16_t length = 0;
  trap([&] { length = toInteger(static_cast<std::int64_t>(messaggio.size())); });
  if (length >= kMessageLengthMin) {
    RinnovaAlive(library, rec);
    rec.history.lastHeard = aliveSince(rec);
    if (!std::exchange(rec.history.messageReceived, true)) tell(library, rec, EventType::Heard);
    trap([&] { SegnalaRisponde(library, rec); });
    trap([&] { SegnalaAnomaliaRientrata(library, rec); });
    rec.ChiusuraRemota = false;
    readFields(library, rec, messaggio, trap);
  }
  if (trap.pending()) {
    trap([&] { TracciaErrore(library, rec.IdxQuarn, trap.number(), "error DividiMessaggio"); });
  }
}

bool CarattereUguale(std::string_view testo, std::int16_t posizione, char carattere) {
  const auto index = static_cast<std::size_t>(posizione - 1);
  return index < testo.size() && testo[index] == carattere;
}

void ScartaRicezione(Library& library, std::int16_t IdxQuarn) {
  ConnectionRecord& rec = library.ConnectionTable[IdxQuarn];
  Traccia(library, IdxQuarn, "SCARTO:", [&] { return rec.Ricevuto.text(); });
  rec.Ricevuto.clear();
  rec.FrameCompleto = false;
  countHeldBytes(library, rec);
  rec.history.limitSince = {};
}

void AzzeraRicezione(Library& library, std::int16_t IdxQuarn) {
  ScartaRicezione(library, IdxQuarn);
  library.ConnectionTable[IdxQuarn].UltimoErrore.clear();
}

}  // namespace quarnex
