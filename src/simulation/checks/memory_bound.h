// What memory an engine may hold: what the protocol makes it keep, and a constant for each link.
#pragma once

#include <string_view>

#include "engine/records/library.h"

namespace quarnex::simulation {

/// Whether a queue, a batch or a frame of that link holds more memory than twice what is in it and a
/// constant, which for one that is empty is 4 KiB; "" = none does.
std::string_view heldBeyondNeed(const ConnectionRecord& record);
/// The same of what all links share.
std::string_view heldBeyondNeed(const Library& library);

}  // namespace quarnex::simulation
