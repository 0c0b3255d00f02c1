// Bytes received and not yet framed: appended at the back, consumed at the front, never moved in between.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace quarnex {

/// A queue of bytes in chunks of at most 64 KiB. Appending and consuming are linear in the bytes named,
/// however long the backlog; an empty queue is one null pointer.
class ReceiveQueue {
 public:
  bool empty() const { return chunks_ == nullptr; }
  std::size_t size() const;
  void append(std::string_view bytes);
  /// The first bytes that stand together in memory; not empty unless the queue is. Valid until the next
  /// change.
  std::string_view front() const;
  /// Removes the first `count` bytes of `front()`.
  void consume(std::size_t count);
  void clear() { chunks_.reset(); }
  /// The whole content as one text.
  std::string text() const;

 private:
  struct Chunks {
    std::list<std::string> list;
    std::size_t consumed = 0;  // bytes of the first chunk that are gone
  };
  std::unique_ptr<Chunks> chunks_;
};

}  // namespace quarnex
