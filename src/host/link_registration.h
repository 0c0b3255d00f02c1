// Registers a link with its record, sockets and port (Modulo_Main).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Registers one link and returns its index. Returns 0 and changes nothing if the table is full (`kLinksMax`)
/// or memory for the record runs out. Never fails: skips a failing step and traces it at the end as
/// "P:Errore: n error HTCP: AddHQUARN description".
std::int16_t AddHQUARN(Library& library, std::string_view Tipo, std::int16_t IdQUARN, bool ConnessioneClient,
                       bool UsaTcp);

}  // namespace quarnex
