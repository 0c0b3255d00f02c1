// Asks the processor for memory that will be looked at soon; where the compiler offers no way to, nothing
// happens.
#pragma once

namespace quarnex {

inline void prefetch([[maybe_unused]] const void* address) {
#if defined(__GNUC__)
  __builtin_prefetch(address);
  __asm__ volatile("" : : "r"(address));  // or GCC takes a caller for a function without effect and drops it
#endif
}

}  // namespace quarnex
