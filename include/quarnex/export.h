// Marks the names that the shared library exports, and refuses compilers that are too old for the public
// headers.
#pragma once

#if __cplusplus < 201703L
#error "The headers of Quarnex need C++17 or later: compile with -std=c++17."
#endif

/// A function or class of the public interface. Everything else in the shared library is hidden. On Windows
/// the library is a static one.
#ifdef _WIN32
#define QUARNEX_API
#else
#define QUARNEX_API __attribute__((visibility("default")))
#endif
