// Tells people at the end of the process about lines that are missing in a file, where no host can ask any
// more.
#pragma once

#include <cstdint>
#include <cstdio>

#include "services/marked_storage.h"

namespace quarnex {

/// Prints one line to standard error, unless the host knows of all these bytes.
inline void printLosses(const char* file, const WriteLosses& losses, std::uint64_t toldBytes) {
  if (losses.bytes <= toldBytes) return;
  std::fprintf(stderr, "quarnex: %llu lines (%llu bytes) are missing in the %s\n",
               static_cast<unsigned long long>(losses.lines), static_cast<unsigned long long>(losses.bytes),
               file);
}

}  // namespace quarnex
