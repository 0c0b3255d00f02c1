// GestioneBuffer: the first-in, first-out ring of texts that serves as every queue of a link.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace quarnex {

/// A ring of texts. Its capacity is a number, not memory: slots are allocated as they are used, so that an
/// idle link pays for a few bytes of header only, and given back when a large queue has been emptied.
struct TextBuffer {
  std::int16_t Count = 0;     // items stored, 0 to Capacity
  std::int16_t Capacity = 0;  // items that it may hold before it grows or drops
  std::int16_t Head = 0;      // slot of the oldest item
  std::int16_t allocated = 0;
  std::unique_ptr<std::string[]> Items;  // `allocated` slots, 0 to allocated - 1
};

/// Empties the buffer and gives it room for `capacity` items; 0 or less accepts nothing and yields nothing.
void BufferInit(TextBuffer& buffer, std::int16_t capacity);

/// Appends one item; the empty text is an item like any other. A full buffer of fewer than 5000 grows by 100,
/// a full one of 5000 or more drops its oldest item silently.
void BufferPut(TextBuffer& buffer, std::string text);

/// Takes out the oldest item; "" if there is none (`Count` tells the difference).
std::string BufferGet(TextBuffer& buffer);

}  // namespace quarnex
