// Modulo_Main: registration of a link with its record, its sockets and its port.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Registers one link and returns its index. Never fails: a failing step is skipped and traced at the end as
/// "P:Errore: n error HTCP: AddHQUARN description". A full table (32,767 links) stays as it is, and so does
/// one that there is no memory for another link of: 0.
std::int16_t AddHQUARN(Library& library, std::string_view Tipo, std::int16_t IdQUARN, bool ConnessioneClient,
                       bool UsaTcp);

}  // namespace quarnex
