// How a link stands, in one sentence for people.
#pragma once

#include <string>
#include <string_view>

#include "engine/records/library.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

/// The sentence `LinkSnapshot::why`, from the rest of the snapshot and the history of the record.
std::string whySentence(Library& library, const ConnectionRecord& record, const LinkSnapshot& snapshot);

/// The reason of a failure, as reports carry it, in plain words with its number: "10061  The requested
/// connection has been refused by the remote host." is "error 10061, The requested connection has been
/// refused by the remote host".
std::string reasonInWords(std::string_view reason);

}  // namespace quarnex
