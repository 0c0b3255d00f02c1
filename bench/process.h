// Measures the resources that a process uses: CPU time, heap, descriptors, threads, allocations.
#pragma once

#include <cstdint>
#include <cstdio>

namespace quarnex::bench {

/// CPU time of this process so far, user and system, in seconds.
double cpuSeconds();

/// Raises the descriptor limit of this process to the maximum that the system permits, and returns it.
std::size_t raiseDescriptorLimit();

/// System resources that a process holds.
struct Holdings {
  std::int64_t heapBytes;  // allocated, including the allocator's headers
  std::int64_t descriptors;
  std::int64_t threads;
};
Holdings holdings();

/// Reports progress to the driver script on standard output.
void announce(const char* stage);

/// Result of a measurement, printed for the driver script as one line of JSON.
struct Report {
  double seconds = 0;          // duration of the measurement
  double cpuSeconds = 0;       // used in that time
  std::int64_t exchanges = 0;  // requests answered (server) or answers received (client) in that time
  Holdings base;               // before the first link
  Holdings end;                // after the measurement
};
void print(const Report& report);

/// Calls of `operator new` so far, in all its forms. Needs allocations.cpp in the program.
std::uint64_t allocations();

/// Makes every later `operator new` call `hook` first; an exception of `hook` makes the allocation fail.
/// nullptr removes the hook.
void setAllocationHook(void (*hook)());

}  // namespace quarnex::bench
