// Stops the process where the library's own code has broken an assumption of another part of it.
#pragma once

/// States an assumption that only a bug of this library can break; hosts, peers and systems never can. In
/// test, simulation and fuzz builds (CMake option QUARNEX_ASSERTIONS) a violation prints the condition with
/// its place and aborts. In other builds the condition is compiled and never evaluated, so it costs nothing.
#ifdef QUARNEX_ASSERTIONS
#define QUARNEX_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::quarnex::assertionFailed(#condition, __FILE__, __LINE__))
#else
#define QUARNEX_ASSERT(condition) static_cast<void>(sizeof((condition) ? 1 : 0))
#endif

namespace quarnex {

/// Prints "FILE:LINE: assertion failed: CONDITION" to standard error and aborts.
[[noreturn]] void assertionFailed(const char* condition, const char* file, int line);

}  // namespace quarnex
