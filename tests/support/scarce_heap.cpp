#include "support/scarce_heap.h"

#include <cstdlib>
#include <new>

#include "support/stub_host.h"

namespace quarnex::test {
namespace {

bool scarce = false;
long left = 0;  // pieces until the first that is refused
bool further = false;
bool anyRefused = false;

void judge() {
  if (!scarce || StubAtWork::depth > 0) return;
  --left;
  if (left > 0 || (left < 0 && !further)) return;
  anyRefused = true;
  throw std::bad_alloc();
}

void* given(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

ScarceHeap::ScarceHeap(long first, bool allFurther) {
  left = first;
  further = allFurther;
  anyRefused = false;
  scarce = true;
}

ScarceHeap::~ScarceHeap() {
  scarce = false;
}

bool ScarceHeap::refused() {
  return anyRefused;
}

}  // namespace quarnex::test

// The array and nothrow forms end here, too.
void* operator new(std::size_t size) {
  quarnex::test::judge();
  return quarnex::test::given(std::malloc(size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  quarnex::test::judge();
  const auto step = static_cast<std::size_t>(alignment);
  return quarnex::test::given(std::aligned_alloc(step, (size + step - 1) / step * step));
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
