// Rule: an engine holds at most twice the memory that its contents need, and a constant. Reads the engine's
// records.
#pragma once

#include <string_view>

#include "engine/records/library.h"

namespace quarnex::simulation {

/// Names a queue, batch or frame of that link that holds more than twice its contents and a constant, which
/// is 4 KiB for an empty one; "" if there is none.
std::string_view heldBeyondNeed(const ConnectionRecord& record);
/// The same for the storage that all links share.
std::string_view heldBeyondNeed(const Library& library);

}  // namespace quarnex::simulation
