// Describes the state of a link in one sentence for people.
#pragma once

#include <string>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// The sentence `LinkSnapshot::why`, from the rest of the snapshot.
std::string whySentence(Library& library, const ConnectionRecord& record, const LinkSnapshot& snapshot);

}  // namespace quarnex
