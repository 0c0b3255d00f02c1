#include "component/text_buffer.h"

#include <algorithm>
#include <utility>

namespace quarnex {
namespace {

constexpr std::int16_t kGrowthLimit = 5000;
constexpr std::int16_t kGrowthStep = 100;
constexpr std::int16_t kFirstSlots = 4;
constexpr std::int16_t kKeptSlots = 64;  // an emptied queue with more slots than this gives them back

std::int16_t slotAfter(const TextBuffer& buffer, int slots) {
  const int slot = buffer.Head + slots;
  return static_cast<std::int16_t>(slot < buffer.allocated ? slot : slot - buffer.allocated);
}

void allocateMore(TextBuffer& buffer) {
  const int wanted = std::clamp<int>(2 * buffer.allocated, kFirstSlots, buffer.Capacity);
  auto items = std::make_unique<std::string[]>(static_cast<std::size_t>(wanted));
  for (int i = 0; i < buffer.Count; ++i) {
    items[static_cast<std::size_t>(i)] =
        std::move(buffer.Items[static_cast<std::size_t>(slotAfter(buffer, i))]);
  }
  buffer.Items = std::move(items);
  buffer.Head = 0;
  buffer.allocated = static_cast<std::int16_t>(wanted);
}

}  // namespace

void BufferInit(TextBuffer& buffer, std::int16_t capacity) {
  buffer = TextBuffer{};
  buffer.Capacity = capacity;
}

void BufferPut(TextBuffer& buffer, std::string text) {
  if (buffer.Capacity <= 0) return;
  if (buffer.Count >= buffer.Capacity && buffer.Capacity < kGrowthLimit) {
    buffer.Capacity = static_cast<std::int16_t>(buffer.Capacity + kGrowthStep);
  }
  if (buffer.Count >= buffer.Capacity) BufferGet(buffer);
  if (buffer.Count == buffer.allocated) allocateMore(buffer);
  buffer.Items[static_cast<std::size_t>(slotAfter(buffer, buffer.Count))] = std::move(text);
  ++buffer.Count;
}

std::string BufferGet(TextBuffer& buffer) {
  if (buffer.Count <= 0) return {};
  std::string text = std::move(buffer.Items[static_cast<std::size_t>(buffer.Head)]);
  buffer.Head = slotAfter(buffer, 1);
  --buffer.Count;
  if (buffer.Count == 0 && buffer.allocated > kKeptSlots) {
    buffer.Items.reset();
    buffer.Head = buffer.allocated = 0;
  }
  return text;
}

}  // namespace quarnex
