// GestioneBuffer: the first-in, first-out ring of texts that serves as every queue of a link.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "services/byte_queue.h"

namespace quarnex {

/// A ring of texts. Its capacity is a number, not memory: the texts stand one behind the other, each behind
/// its length, in chunks that are taken as they fill and given back as they empty, so that an idle link pays
/// for a few bytes of header only and a text costs no piece of memory of its own.
struct TextBuffer {
  std::int16_t Count = 0;     // items stored, 0 to Capacity
  std::int16_t Capacity = 0;  // items that it may hold before it grows or drops
  std::unique_ptr<ByteChunks> Items;
};

/// Empties the buffer and gives it room for `capacity` items; 0 or less accepts nothing and yields nothing.
void BufferInit(TextBuffer& buffer, std::int16_t capacity);

/// Appends one item; the empty text is an item like any other. A full buffer of fewer than 5000 grows by 100,
/// a full one of 5000 or more drops its oldest item silently. `text` is no item of this buffer.
void BufferPut(TextBuffer& buffer, std::string_view text);

/// Takes out the oldest item; "" if there is none (`Count` tells the difference).
std::string BufferGet(TextBuffer& buffer);

/// The oldest item, which stays; "" if there is none. Valid until the next change.
std::string_view BufferFront(const TextBuffer& buffer);
/// Takes out the oldest item, if there is one.
void BufferDrop(TextBuffer& buffer);

/// The oldest items, at most `most`. Valid until the next change.
std::vector<std::string_view> BufferTexts(const TextBuffer& buffer, std::size_t most);

}  // namespace quarnex
