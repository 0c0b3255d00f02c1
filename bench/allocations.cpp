#include "bench/process.h"

#include <cstdlib>
#include <new>

namespace quarnex::bench {
namespace {

std::uint64_t count = 0;
void (*judge)() = nullptr;

template <class Take>
void* counted(const Take& take) {
  ++count;
  if (judge != nullptr) judge();
  void* const memory = take();
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void setAllocationJudge(void (*newJudge)()) {
  judge = newJudge;
}

std::uint64_t allocations() {
  return count;
}

}  // namespace quarnex::bench

// The array and nothrow forms end here, too.
void* operator new(std::size_t size) {
  return quarnex::bench::counted([&] { return std::malloc(size); });
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto step = static_cast<std::size_t>(alignment);
  return quarnex::bench::counted([&] { return std::aligned_alloc(step, (size + step - 1) / step * step); });
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
