#include "diagnostics/trace.h"

#include <utility>

#include "component/observer.h"
#include "component/trap.h"
#include "diagnostics/log.h"
#include "quarnex/failure.h"

namespace quarnex {

void aggiungi(std::string& text, Zeri number) {
  const std::uint64_t magnitude = number.number < 0 ? 0 - static_cast<std::uint64_t>(number.number)
                                                    : static_cast<std::uint64_t>(number.number);
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, magnitude).ptr;
  if (number.number < 0) text += '-';
  for (auto count = end - digits; count < number.digits; ++count) text += '0';
  text.append(digits, end);
}

bool TracciaAscoltata(Library& library, std::int16_t IdxQuarn) {
  if (IdxQuarn < 0 || IdxQuarn > library.ConnectionCount || library.ConnectionCount == 0) {
    throw Failure(9, "Subscript out of range");
  }
  return library.LogAperto || library.observer != nullptr ||
         (IdxQuarn > 0 && library.ConnectionTable[IdxQuarn].DebugAttivo);
}

void TracciaTesto(Library& library, std::int16_t IdxQuarn, std::string_view testo) {
  if (library.observer != nullptr) library.observer->traced(IdxQuarn, testo);
  if (IdxQuarn > 0) {
    ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
    if (record.DebugAttivo) BufferPut(record.CodaDebug, testo);
  }
  if (library.LogAperto) ScriviLog(library, IdxQuarn, testo);
}

void TracciaErrore(Library& library, std::int16_t IdxQuarn, std::int32_t numero, std::string_view dove) {
  Trap trap{library};
  trap([&] { Traccia(library, IdxQuarn, "P:Errore: ", numero, ' ', dove); });
  clearPendingFailures(library);
}

std::string EthTag(Library& library, std::int16_t IdxQuarn) {
  const ConnectionRecord& record = library.ConnectionTable[IdxQuarn];
  return componi("ETH ", Zeri{record.IdQuarn, 2}, ' ', record.Tipo);
}

}  // namespace quarnex
