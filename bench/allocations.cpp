// Replaces the global operator new: counts its calls, and can make them fail.
#include "bench/process.h"

#include <cstdlib>
#include <new>

namespace quarnex::bench {
namespace {

std::uint64_t count = 0;
void (*hook)() = nullptr;

template <class Allocate>
void* counted(const Allocate& allocate) {
  ++count;
  if (hook != nullptr) hook();
  void* const memory = allocate();
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void setAllocationHook(void (*newHook)()) {
  hook = newHook;
}

std::uint64_t allocations() {
  return count;
}

}  // namespace quarnex::bench

// The array and nothrow forms call these.
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
