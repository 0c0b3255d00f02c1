// What a process uses of the system: the figures that the benchmarks compare.
#pragma once

#include <cstdint>
#include <cstdio>

namespace quarnex::bench {

/// User and system time that this process has used, in seconds.
double cpuSeconds();

/// Allows this process as many descriptors as the system lets it have, and returns how many.
std::size_t raiseDescriptorLimit();

/// What a process holds at one moment.
struct Holdings {
  std::int64_t heapBytes;  // in use, the allocator's own headers included
  std::int64_t descriptors;
  std::int64_t threads;
};
Holdings holdings();

/// Announces to the driver, on standard output, how far this process has come.
void announce(const char* stage);

/// What the driver is told at the end of a measurement, as one line of JSON.
struct Report {
  double seconds = 0;          // how long was measured
  double cpuSeconds = 0;       // used meanwhile
  std::int64_t exchanges = 0;  // requests answered, or answers received, meanwhile
  Holdings base;               // before the first link
  Holdings end;                // after the measurement
};
void print(const Report& report);

/// Calls of `operator new` so far, in any of its forms.
std::uint64_t allocations();

/// Called first in each of those calls from now on; what it throws is the call's failure. nullptr: nothing.
void setAllocationJudge(void (*judge)());

}  // namespace quarnex::bench
