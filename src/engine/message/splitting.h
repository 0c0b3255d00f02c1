// Splits a received message into its fields and discards partial input (gestione_TCP_generale).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Position of the number of fields in a message, from 1.
constexpr std::int16_t kFieldCountPosition = 7;

/// Handles the message of one good frame. Reports 701 unless it was reported before. If the message has
/// `kMessageLengthMin` to `kMessageLengthMax` characters, also counts it as a sign of life, applies its
/// service words and puts its texts into `CodaArrivo`. A failing step is skipped and traced at the end.
void DividiMessaggio(Library& library, ConnectionRecord& rec, std::string_view messaggio);

/// True if the character at `posizione` (from 1) is `carattere`; False beyond the end.
bool CarattereUguale(std::string_view testo, std::int16_t posizione, char carattere);

/// Discards received bytes that are not framed yet, with a trace, when a connection ends. Keeps a frame that
/// is being assembled.
void ScartaRicezione(Library& library, std::int16_t IdxQuarn);
/// Does the same when a connection begins, and empties `UltimoErrore`.
void AzzeraRicezione(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
