#include "engine/records/text_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "quarnex/times_and_limits.h"
#include "services/assertion.h"

namespace quarnex {
namespace {

// The length of a text, and `kMarked` if it is a marked one.
using Head = std::size_t;
constexpr Head kMarked = ~(std::numeric_limits<Head>::max() >> 1);

std::string_view bytesOf(const Head& head) {
  return {reinterpret_cast<const char*>(&head), sizeof head};
}

Head firstHead(std::string_view items) {
  Head head = 0;
  std::memcpy(&head, items.data(), sizeof head);
  return head;
}

std::string_view firstText(std::string_view items) {
  return items.substr(sizeof(Head), firstHead(items) & ~kMarked);
}

/// Calls `use` with the head of each item, oldest first, while it returns true.
template <class Use>
void visitHeads(const TextBuffer& buffer, const Use& use) {
  if (buffer.Count <= 0) return;
  buffer.Items->visit([&](std::string_view items) {
    bool more = true;
    for (; more && !items.empty(); items.remove_prefix(sizeof(Head) + firstText(items).size()))
      more = use(firstHead(items));
    return more;
  });
}

// The count, the capacity and the stored bytes agree.
[[maybe_unused]] bool isSound(const TextBuffer& buffer) {
  const bool anyStored = buffer.Items && !buffer.Items->empty();
  return buffer.Count >= 0 && buffer.Count <= std::max<int>(buffer.Capacity, 0) &&
         (buffer.Count > 0) == anyStored;
}

}  // namespace

void BufferInit(TextBuffer& buffer, std::int16_t capacity) {
  buffer = TextBuffer{};
  buffer.Capacity = capacity;
}

bool BufferIsFull(const TextBuffer& buffer) {
  return buffer.Count >= buffer.Capacity && buffer.Capacity >= kQueueCapacityMax;
}

void BufferPut(TextBuffer& buffer, std::string_view text, bool marked) {
  QUARNEX_ASSERT(isSound(buffer));
  if (buffer.Capacity <= 0) return;
  if (buffer.Count >= buffer.Capacity && buffer.Capacity < kQueueCapacityMax) {
    buffer.Capacity = static_cast<std::int16_t>(buffer.Capacity + kQueueGrowth);
  }
  if (buffer.Count >= buffer.Capacity) BufferDrop(buffer);
  if (!buffer.Items) buffer.Items = std::make_unique<ByteChunks>();
  buffer.Items->appendWhole(bytesOf(text.size() | (marked ? kMarked : 0)), text);
  ++buffer.Count;
}

std::string BufferGet(TextBuffer& buffer) {
  std::string text(BufferFront(buffer));
  BufferDrop(buffer);
  return text;
}

std::string_view BufferFront(const TextBuffer& buffer) {
  return buffer.Count > 0 ? firstText(buffer.Items->front()) : std::string_view();
}

bool BufferFrontMarked(const TextBuffer& buffer) {
  return buffer.Count > 0 && (firstHead(buffer.Items->front()) & kMarked) != 0;
}

void BufferDrop(TextBuffer& buffer) {
  QUARNEX_ASSERT(isSound(buffer));
  if (buffer.Count <= 0) return;
  buffer.Items->consume(sizeof(Head) + BufferFront(buffer).size());
  --buffer.Count;
}

std::uint32_t BufferMarks(const TextBuffer& buffer) {
  std::uint32_t marks = 0;
  std::size_t item = 0;
  visitHeads(buffer, [&](Head head) {
    if ((head & kMarked) != 0) marks |= 1U << item;
    return ++item < 32;
  });
  return marks;
}

std::size_t BufferUnmarked(const TextBuffer& buffer) {
  std::size_t count = 0;
  visitHeads(buffer, [&](Head head) {
    if ((head & kMarked) == 0) ++count;
    return true;
  });
  return count;
}

std::vector<std::string_view> BufferTexts(const TextBuffer& buffer, std::size_t most) {
  std::vector<std::string_view> texts;
  if (buffer.Count <= 0) return texts;
  buffer.Items->visit([&](std::string_view items) {
    for (; !items.empty() && texts.size() < most; items.remove_prefix(sizeof(Head) + texts.back().size())) {
      texts.push_back(firstText(items));
    }
    return texts.size() < most;
  });
  return texts;
}

}  // namespace quarnex
