// What LinkSnapshot tells about the past of a link. Nothing that the link does depends on it.
#pragma once

#include <string_view>

#include "engine/records/library.h"

namespace quarnex {

/// Remembers `reason` as what last took the link down, with the present moment and phase.
void rememberFailure(Library& library, ConnectionRecord& rec, std::string_view reason);

}  // namespace quarnex
