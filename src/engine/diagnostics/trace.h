// Writes trace texts of a link to its capture, the log and the observer (Modulo_Main).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"
#include "engine/records/text_pieces.h"

namespace quarnex {

/// True if a trace text of link `IdxQuarn` would reach a sink. Index 0 belongs to no link and reaches the log
/// only; any other index without a link, and every index while there are no links, is failure 9 Subscript out
/// of range.
bool isTraced(Library& library, std::int16_t IdxQuarn);

/// Gives a complete trace text to the sinks.
void traceText(Library& library, std::int16_t IdxQuarn, std::string_view testo);

/// Writes one trace text, given in pieces, for one link. The pieces are joined only if a sink is open.
template <class... Pieces>
void Traccia(Library& library, std::int16_t IdxQuarn, const Pieces&... pieces) {
  if (!isTraced(library, IdxQuarn)) return;
  std::string testo = std::move(library.traceStorage);
  testo.clear();
  (append(testo, pieces), ...);
  traceText(library, IdxQuarn, testo);
  clearText(testo);
  library.traceStorage = std::move(testo);
}

/// Writes "P:Errore: " & numero & " " & dove and settles every pending failure, also those of the callers.
/// Failures inside are ignored.
void TracciaErrore(Library& library, std::int16_t IdxQuarn, std::int32_t numero, std::string_view dove);

/// "ETH 05 MIRTAN".
std::string EthTag(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
