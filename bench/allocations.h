// Counts what this program asks the heap for.
#pragma once

#include <cstdint>

namespace quarnex::bench {

/// Calls of `operator new` so far, in any of its forms.
std::uint64_t allocations();

}  // namespace quarnex::bench
