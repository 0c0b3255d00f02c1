// Stores texts first in, first out, for every queue of a link (GestioneBuffer).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "services/byte_queue.h"

namespace quarnex {

/// A queue of texts. Its capacity is a number, not allocated memory: the texts are stored one after another,
/// each after its length and its mark, in chunks that are allocated as texts arrive and freed as they leave.
/// An idle link needs only this header, and a text needs no allocation of its own.
struct TextBuffer {
  std::int16_t Count = 0;     // items stored, 0 to Capacity
  std::int16_t Capacity = 0;  // items that it may hold before it grows or drops
  std::unique_ptr<ByteChunks> Items;
};

/// Empties the buffer and sets its capacity, in items; with 0 or less it drops every item.
void BufferInit(TextBuffer& buffer, std::int16_t capacity);

/// Appends one item, which may be empty. A full buffer grows by `kQueueGrowth` up to `kQueueCapacityMax`;
/// then it drops its oldest item silently. `text` must not be an item of this buffer. The mark costs no
/// memory.
void BufferPut(TextBuffer& buffer, std::string_view text, bool marked = false);

/// True if the next item drops the oldest one.
bool BufferIsFull(const TextBuffer& buffer);

/// Removes and returns the oldest item; "" if there is none (`Count` distinguishes the two).
std::string BufferGet(TextBuffer& buffer);

/// The oldest item, which stays; "" if there is none. Valid until the next change.
std::string_view BufferFront(const TextBuffer& buffer);
/// True if there is an oldest item and it is marked.
bool BufferFrontMarked(const TextBuffer& buffer);
/// Removes the oldest item, if there is one.
void BufferDrop(TextBuffer& buffer);

/// The oldest items, at most `most`. Valid until the next change.
std::vector<std::string_view> BufferTexts(const TextBuffer& buffer, std::size_t most);
/// Bit i = item i of the oldest 32 is marked.
std::uint32_t BufferMarks(const TextBuffer& buffer);
/// Number of items that are not marked.
std::size_t BufferUnmarked(const TextBuffer& buffer);

}  // namespace quarnex
