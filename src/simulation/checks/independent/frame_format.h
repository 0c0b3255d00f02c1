// What a host may put on the wire, judged by code that shares nothing with the engine.
#pragma once

#include <string_view>

namespace quarnex::simulation {

/// Why `bytes` are not exactly one well-formed frame of a link with that identifier; "" if they are.
std::string_view flawOfFrame(std::string_view bytes, int identifier);

}  // namespace quarnex::simulation
