// Queues bytes: appends them at the back, consumes them at the front, and rarely moves them in between.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace quarnex {

/// Bytes of memory that an emptied queue or text may keep for its next use; a larger one frees its memory.
constexpr std::size_t kKeptCapacityMax = 4096;

/// Bytes in chunks of at most 64 KiB; a chunk is larger only if `appendWhole` needs it. Appending and
/// consuming take time linear in the number of bytes appended or consumed, however many are queued.
class ByteChunks {
 public:
  bool empty() const { return list_.empty() || consumed_ == list_.front().size(); }
  std::size_t size() const { return size_; }
  /// Bytes of allocated memory, used or not.
  std::size_t bytesHeld() const;
  void append(std::string_view bytes);
  /// Appends `head` and `tail` next to each other in memory, all or nothing.
  void appendWhole(std::string_view head, std::string_view tail);
  /// The oldest bytes, as far as they lie in one chunk. Requires that there are any. Valid until the next
  /// change.
  std::string_view front() const;
  /// Removes the first `count` bytes of `front()`. Keeps the memory of the last chunk up to
  /// `kKeptCapacityMax`.
  void consume(std::size_t count);
  /// Calls `visit` with each chunk's bytes, oldest first, as long as it returns true.
  template <class Visit>
  void visit(Visit&& visit) const {
    std::size_t skipped = consumed_;
    for (const std::string& chunk : list_) {
      if (!visit(std::string_view(chunk).substr(skipped))) return;
      skipped = 0;
    }
  }

 private:
  void makeRoom(std::size_t count);

  std::list<std::string> list_;
  std::size_t consumed_ = 0;  // bytes of the first chunk that are consumed already
  std::size_t size_ = 0;
};

/// A queue of bytes that is one null pointer while it is empty.
class ByteQueue {
 public:
  bool empty() const { return chunks_ == nullptr; }
  std::size_t size() const { return empty() ? 0 : chunks_->size(); }
  std::size_t bytesHeld() const { return empty() ? 0 : chunks_->bytesHeld(); }
  void append(std::string_view bytes) {
    if (bytes.empty()) return;
    if (!empty()) return chunks_->append(bytes);
    auto first = std::make_unique<ByteChunks>();
    first->append(bytes);
    chunks_ = std::move(first);
  }
  /// The oldest bytes, as far as they lie in one chunk; empty only if the queue is. Valid until the next
  /// change.
  std::string_view front() const { return empty() ? std::string_view() : chunks_->front(); }
  void consume(std::size_t count) {
    if (empty()) return;
    chunks_->consume(count);
    if (chunks_->empty()) clear();
  }
  void clear() { chunks_.reset(); }
  /// The whole content as one text.
  std::string text() const;

 private:
  std::unique_ptr<ByteChunks> chunks_;
};

}  // namespace quarnex
