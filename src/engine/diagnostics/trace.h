// Writes trace texts of a link to its capture, the log and the observer (Modulo_Main).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/records/library.h"
#include "engine/records/text_pieces.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {

/// True if any sink is open for the trace texts of link `IdxQuarn`: the log, the link's capture or the
/// observer. Index 0 stands for no link and has no capture. Failure 9 "Subscript out of range" for any other
/// index without a link, and for every index while there are no links.
bool isTraced(Library& library, std::int16_t IdxQuarn);

/// Passes a complete trace text to the open sinks. The log gets it shortened if it has more characters than
/// `loggedMax`.
void traceText(Library& library, std::int16_t IdxQuarn, std::string_view testo, std::size_t loggedMax);

/// Joins the pieces of a trace text and passes it on, see `traceText`.
template <class... Pieces>
void traceJoined(Library& library, std::int16_t IdxQuarn, std::size_t loggedMax, const Pieces&... pieces) {
  std::string testo = std::move(library.traceStorage);
  testo.clear();
  (append(testo, pieces), ...);
  traceText(library, IdxQuarn, testo, loggedMax);
  clearText(testo);
  library.traceStorage = std::move(testo);
}

/// Writes one trace text, given in pieces, for one link. The pieces are joined only if a sink is open.
template <class... Pieces>
void Traccia(Library& library, std::int16_t IdxQuarn, const Pieces&... pieces) {
  if (isTraced(library, IdxQuarn)) traceJoined(library, IdxQuarn, std::string_view::npos, pieces...);
}

/// The same for a text that holds a damaged frame, which may be long: the log gets it shortened.
template <class... Pieces>
void traceDamagedFrame(Library& library, std::int16_t IdxQuarn, const Pieces&... pieces) {
  if (isTraced(library, IdxQuarn)) traceJoined(library, IdxQuarn, kLoggedFrameMax, pieces...);
}

/// Writes the trace "P:Errore: " & numero & " " & dove and clears all pending failures, including those of
/// the callers. Never fails.
void TracciaErrore(Library& library, std::int16_t IdxQuarn, std::int32_t numero, std::string_view dove);

/// The link's tag in traces, "ETH 05 MIRTAN".
std::string EthTag(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
