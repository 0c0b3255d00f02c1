// Takes snapshots of links from their records and sockets, without changing them.
#pragma once

#include <cstdint>

#include "quarnex/link_snapshot.h"

namespace quarnex {

struct Library;

/// The state of link `IdxQuarn`; `index` is 0 if there is no such link. Properties that cannot be read keep
/// their defaults. Throws only if memory is exhausted.
LinkSnapshot takeSnapshot(Library& library, std::int16_t IdxQuarn);

}  // namespace quarnex
