// Modulo_Main: the one trace operation with its sinks, the tag of a link, and the standard text of a trapped
// failure.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "engine/records/library.h"
#include "engine/records/record_operations.h"

namespace quarnex {

/// A number in a text, filled with zeros to at least `digits` digits (1 to 20) behind its sign: -3 with 2 is
/// "-03".
struct Zeri {
  std::int64_t number;
  int digits;
};

void aggiungi(std::string& text, Zeri number);
inline void aggiungi(std::string& text, std::string_view piece) {
  text += piece;
}
inline void aggiungi(std::string& text, char piece) {
  text += piece;
}
template <std::integral Number>
void aggiungi(std::string& text, Number number) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.append(digits, end);
}
/// A piece that costs something to make is handed over as a function that makes it.
template <std::invocable Maker>
void aggiungi(std::string& text, const Maker& maker) {
  text += maker();
}

/// The pieces (texts, characters, numbers, `Zeri`, functions) as one text.
template <class... Pieces>
std::string componi(const Pieces&... pieces) {
  std::string text;
  (aggiungi(text, pieces), ...);
  return text;
}

/// True if a trace text of link `IdxQuarn` would reach a sink. Index 0 belongs to no link and reaches the log
/// only; any other index without a link, and every index while there are no links, is failure 9 Subscript out
/// of range.
bool TracciaAscoltata(Library& library, std::int16_t IdxQuarn);

/// Gives a whole trace text to the sinks.
void TracciaTesto(Library& library, std::int16_t IdxQuarn, std::string_view testo);

/// Writes one trace text, given in pieces, for one link. The pieces are joined only if somebody listens.
template <class... Pieces>
void Traccia(Library& library, std::int16_t IdxQuarn, const Pieces&... pieces) {
  if (!TracciaAscoltata(library, IdxQuarn)) return;
  std::string testo = std::move(library.traceStorage);
  testo.clear();
  (aggiungi(testo, pieces), ...);
  TracciaTesto(library, IdxQuarn, testo);
  svuota(testo);
  library.traceStorage = std::move(testo);
}

/// Writes "P:Errore: " & numero & " " & dove and settles every pending failure, also those of the callers.
/// Failures inside are ignored.
void TracciaErrore(Library& library, std::int16_t IdxQuarn, std::int32_t numero, std::string_view dove);

/// "ETH 05 MIRTAN".
std::string EthTag(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
