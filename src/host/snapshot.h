// Taking a LinkSnapshot: reads the record and the sockets, changes nothing.
#pragma once

#include <cstdint>

#include "quarnex/link_snapshot.h"

namespace quarnex {

struct Library;

/// How link `IdxQuarn` stands; `index` 0 if there is no such link. What cannot be read is left out; never
/// fails but for want of memory.
LinkSnapshot takeSnapshot(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
