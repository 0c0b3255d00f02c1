// What holds of every link whenever the engine is not at work.
#pragma once

#include <string_view>

#include "engine/records/connection_record.h"

namespace quarnex::simulation {

/// The invariant that `record` breaks, in words; "" if it breaks none. Good for engines that had `Init`.
std::string_view brokenInvariant(const ConnectionRecord& record);

}  // namespace quarnex::simulation
