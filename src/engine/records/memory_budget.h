// Keeps the memory that peers make the links hold within its limits.
#pragma once

#include <cstddef>

#include "engine/records/library.h"

namespace quarnex {

/// Counts the bytes that the link holds now into the sum of the library.
void countHeldBytes(Library& library, ConnectionRecord& record);

/// True if the link may fetch: it holds less than `MemoryLimits::unhandled`, and its part of the process's
/// memory has room for what one fetch takes. Remembers since when it may not, for the snapshot.
bool mayFetch(Library& library, ConnectionRecord& record);

/// True if the frame under way has grown beyond its limit.
bool isFrameTooLong(const Library& library, const ConnectionRecord& record);

/// Counts the link's bytes. While it holds more than is free, drops its oldest captured traces, and then its
/// oldest received items but one.
void keepWithinBudget(Library& library, ConnectionRecord& record);

}  // namespace quarnex
