#include "engine/message/service_words.h"

#include <string>

#include "engine/events/telling.h"
#include "engine/records/trap.h"

namespace quarnex {
namespace {

enum class Match { Exact, Prefix };

struct ServiceWord {
  std::string_view word;
  Match match;
  void (*effect)(Library& library, ConnectionRecord& rec);
};

void none(Library&, ConnectionRecord&) {}
void queueProbe(Library& library, ConnectionRecord& rec) {
  queueWord(library, rec, "9!");
}
void queueOkay(Library& library, ConnectionRecord& rec) {
  queueWord(library, rec, "9OKAY000");
}
void raiseAck(Library&, ConnectionRecord& rec) {
  rec.RicevutoACK = true;
}
void raiseQry(Library&, ConnectionRecord& rec) {
  rec.RicevutoQRY = true;
}
void raiseCmd(Library&, ConnectionRecord& rec) {
  rec.RicevutoCMD = true;
}
void raiseNoData(Library&, ConnectionRecord& rec) {
  rec.RicevutoNODATA = true;
}
void raiseRemoteClose(Library&, ConnectionRecord& rec) {
  rec.ChiusuraRemota = true;
}

// Matched in this order. Words without effect belong to the protocol of the peers and never reach the host.
constexpr ServiceWord kServiceWords[] = {
    {"9OKAY000", Match::Exact, none},
    {"9STAY000", Match::Exact, queueProbe},
    {"9AVANZATO", Match::Exact, none},
    {"9ADVANCED", Match::Exact, none},
    {"9ACK", Match::Exact, raiseAck},
    {"9QRY", Match::Exact, raiseQry},
    {"9CMD", Match::Exact, raiseCmd},
    {"9NODATA", Match::Exact, raiseNoData},
    {"9DATA000", Match::Exact, none},
    {"9DATI", Match::Exact, none},
    {"9DESCR", Match::Exact, none},
    {"9MAPPE", Match::Exact, none},
    {"9?000", Match::Exact, none},
    {"9LOCALE", Match::Exact, none},
    {"9REMOTO", Match::Exact, none},
    {"9!", Match::Exact, queueOkay},
    {"9K", Match::Exact, raiseRemoteClose},
    {"9.", Match::Exact, none},
    {"9@", Match::Prefix, none},
    {"9EABLE", Match::Prefix, none},
    {"9DSBLE", Match::Prefix, none},
    {"9FIRM4", Match::Prefix, none},
    {"9FIRM5", Match::Prefix, none},
    {"9SLAVE", Match::Prefix, none},
    {"9VER", Match::Prefix, none},
    {"9MOD", Match::Prefix, none},
    {"9TEST", Match::Prefix, none},
    {"9TX", Match::Prefix, none},
    {"9RX", Match::Prefix, none},
    {"9DBG", Match::Prefix, none},
    {"9DSP", Match::Prefix, none},
};

// All words begin with the same character; the second one distinguishes most of them.
bool matches(const ServiceWord& row, std::string_view field) {
  if (field[1] != row.word[1]) return false;
  return row.match == Match::Exact ? field == row.word : field.starts_with(row.word);
}

const ServiceWord* wordOf(std::string_view field) {
  for (const ServiceWord& row : kServiceWords) {
    if (matches(row, field)) return &row;
  }
  return nullptr;
}

}  // namespace

void GestisciServizio(Library& library, ConnectionRecord& rec, std::string_view campo) {
  Trap ignored{library};
  ignored([&] {
    if (const ServiceWord* word = wordOf(campo)) return word->effect(library, rec);
    queueReceived(library, rec, campo);
  });
}

bool isServiceWord(std::string_view testo) {
  return testo.size() >= 2 && testo.front() == '9' && wordOf(testo) != nullptr;
}

}  // namespace quarnex
