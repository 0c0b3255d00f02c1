// gestione_TCP_generale: takes a received message apart, and throws partial input away.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Position of the number of fields in a message, from 1.
constexpr std::int16_t kFieldCountPosition = 7;

/// Handles the message of one good frame: raises 701 if it was not reported yet and, from 12 characters on,
/// counts the message as a sign of life, hands service words on and puts host texts into `CodaArrivo`. A
/// failing step is skipped and traced at the end; a message longer than 32,767 characters delivers nothing.
void DividiMessaggio(Library& library, ConnectionRecord& rec, std::string_view messaggio);

/// True if the character at `posizione` (from 1) is `carattere`; False beyond the end.
bool CarattereUguale(std::string_view testo, std::int16_t posizione, char carattere);

/// A connection ended: traces and drops what was received and not yet framed. A frame under way stays.
void ScartaRicezione(Library& library, std::int16_t IdxQuarn);
/// A connection begins: the same, and forgets `UltimoErrore`.
void AzzeraRicezione(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
