// Points out peer types that are probably misspelt.
#pragma once

#include <string>
#include <string_view>

namespace quarnex::tool {

/// Returns "did you mean MIRTAN (20308)?" for a type that differs little from a named type or in the case of
/// its letters only; "" for a named type and for all others. A misspelt type is a type of its own, with
/// another port.
std::string typeHint(std::string_view type);

}  // namespace quarnex::tool
