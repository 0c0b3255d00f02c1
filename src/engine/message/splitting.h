// Splits a received message into its fields and discards partial input (gestione_TCP_generale).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Position of the number of fields in a message, from 1.
constexpr std::int16_t kFieldCountPosition = 7;

/// Handles the message of one good frame: reports 701 unless it was reported and, from `kMessageLengthMin`
/// on, counts the message as a sign of life, applies service words and puts texts into `CodaArrivo`. A
/// failing step is skipped and traced at the end; a message longer than `kMessageLengthMax` delivers nothing.
void DividiMessaggio(Library& library, ConnectionRecord& rec, std::string_view messaggio);

/// True if the character at `posizione` (from 1) is `carattere`; False beyond the end.
bool CarattereUguale(std::string_view testo, std::int16_t posizione, char carattere);

/// Discards received bytes that are not framed yet, with a trace, when a connection ends. A frame under way
/// stays.
void ScartaRicezione(Library& library, std::int16_t IdxQuarn);
/// Does the same when a connection begins, and empties `UltimoErrore`.
void AzzeraRicezione(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
