// Reports errors of a link to its trace and to its host (gestione_TCP_generale).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Traces an error notice and reports it with 993; with a `codice` other than 0, stores it in `UltimoErrore`,
/// too. Clears all pending failures, including those of the callers: read a number that you need before the
/// call.
void ErroreETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo);

/// Traces the notice without reporting it.
void AvvisoETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo);

}  // namespace quarnex
