// Takes the place of the program's heap: counts what it is asked for, and refuses on demand.
#pragma once

#include <cstdint>

namespace quarnex::bench {

/// Calls of `operator new` so far, in any of its forms.
std::uint64_t allocations();

/// Called first in each of those calls from now on; what it throws is the call's failure. nullptr: nothing.
void setAllocationJudge(void (*judge)());

}  // namespace quarnex::bench
