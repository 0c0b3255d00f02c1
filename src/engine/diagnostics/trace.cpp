#include "engine/diagnostics/trace.h"

#include <utility>

#include "engine/diagnostics/log.h"
#include "engine/records/trap.h"
#include "quarnex/failure.h"
#include "services/observer.h"

namespace quarnex {
namespace {

// Keeps `kept` characters, the last ones among them: there stands the expected checksum of a bad frame.
std::string shortened(std::string_view testo, std::size_t kept) {
  constexpr std::size_t kEnd = 16;
  return concat(testo.substr(0, kept - kEnd), " ... ", testo.size() - kept, " characters more ... ",
                testo.substr(testo.size() - kEnd));
}

}  // namespace

bool isTraced(Library& library, std::int16_t IdxQuarn) {
  if (IdxQuarn < 0 || IdxQuarn > library.ConnectionCount || library.ConnectionCount == 0) {
    throw Failure(9, "Subscript out of range");
  }
  return library.LogAperto || library.observer != nullptr ||
         (IdxQuarn > 0 && library.ConnectionTable[IdxQuarn].DebugAttivo);
}

void traceText(Library& library, std::int16_t IdxQuarn, std::string_view testo, std::size_t loggedMax) {
  if (library.observer != nullptr) library.observer->traced(IdxQuarn, testo);
  if (IdxQuarn > 0) {
    ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
    if (record.DebugAttivo) BufferPut(record.CodaDebug, testo);
  }
  if (!library.LogAperto) return;
  testo.size() <= loggedMax ? writeLogLine(library, IdxQuarn, testo)
                            : writeLogLine(library, IdxQuarn, shortened(testo, loggedMax));
}

void TracciaErrore(Library& library, std::int16_t IdxQuarn, std::int32_t numero, std::string_view dove) {
  Trap trap{library};
  trap([&] { Traccia(library, IdxQuarn, "P:Errore: ", numero, ' ', dove); });
  clearPendingFailures(library);
}

std::string EthTag(Library& library, std::int16_t IdxQuarn) {
  const ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  return concat("ETH ", ZeroPadded{record.IdQuarn, 2}, ' ', record.Tipo);
}

}  // namespace quarnex
