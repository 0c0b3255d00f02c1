// Takes snapshots of links from their records and sockets, without changing them, and describes them in one
// sentence.
#pragma once

#include <cstdint>
#include <string>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// The state of link `IdxQuarn`; `index` is 0 if there is no such link. Properties that cannot be read keep
/// their defaults. Throws only if memory is exhausted.
LinkSnapshot takeSnapshot(Library& library, std::int16_t IdxQuarn);

/// The sentence `LinkOutage::why`, from the rest of the outage.
std::string outageSentence(Library& library, const LinkOutage& outage);

/// The sentence `LinkSnapshot::why`, from the rest of the snapshot.
std::string whySentence(Library& library, const ConnectionRecord& record, const LinkSnapshot& snapshot);

}  // namespace quarnex
