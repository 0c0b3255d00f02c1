// The processor's caches: what lies together in them, and asking for what will be looked at soon.
#pragma once

#include <cstddef>

namespace quarnex {

/// Bytes that most processors fetch from memory at once. Data aligned to it needs no second fetch.
constexpr std::size_t kCacheLine = 64;

/// Asks for the line that holds `address`; where the compiler offers no way to, nothing happens.
inline void prefetch([[maybe_unused]] const void* address) {
#if defined(__GNUC__)
  __builtin_prefetch(address);
  __asm__ volatile("" : : "r"(address));  // or GCC takes a caller for a function without effect and drops it
#endif
}

}  // namespace quarnex
