// gestione_TCP_generale: the notices of link errors, to the trace and to the host.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Traces an error notice and reports it with 993; a `codice` other than 0 also becomes `UltimoErrore`.
/// Afterwards no failure is pending, not even one of the callers, so whoever needs its number takes it
/// before.
void ErroreETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo);

/// The same as a trace only.
void AvvisoETH(Library& library, std::int16_t IdxQuarn, std::int16_t codice, std::string_view testo);

}  // namespace quarnex
