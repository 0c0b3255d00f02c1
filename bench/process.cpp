#include "bench/process.h"

#include <malloc.h>
#include <sys/resource.h>
#include <time.h>

#include <filesystem>
#include <iterator>

namespace quarnex::bench {
namespace {

std::int64_t entries(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
}

}  // namespace

double cpuSeconds() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

std::size_t raiseDescriptorLimit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_cur;
}

Holdings holdings() {
  const auto heap = ::mallinfo2();
  return {static_cast<std::int64_t>(heap.uordblks + heap.hblkhd), entries("/proc/self/fd"),
          entries("/proc/self/task")};
}

void announce(const char* stage) {
  std::puts(stage);
  std::fflush(stdout);
}

void print(const Report& report) {
  std::printf(
      R"({"seconds": %.3f, "cpu": %.6f, "exchanges": %lld, "heap": %lld, "descriptors": %lld, "threads": %lld})"
      "\n",
      report.seconds, report.cpuSeconds, static_cast<long long>(report.exchanges),
      static_cast<long long>(report.end.heapBytes - report.base.heapBytes),
      static_cast<long long>(report.end.descriptors - report.base.descriptors),
      static_cast<long long>(report.end.threads));
  std::fflush(stdout);
}

}  // namespace quarnex::bench
