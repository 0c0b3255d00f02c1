// Bytes that wait: appended at the back, consumed at the front, hardly ever moved in between.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace quarnex {

/// Bytes of memory that an emptied queue or text keeps for its next use; it gives back more.
constexpr std::size_t kKeptCapacityMax = 4096;

/// Bytes in chunks of at most 64 KiB, unless bytes that must stand together need more. Appending and
/// consuming are linear in the bytes named, however long the backlog.
class ByteChunks {
 public:
  bool empty() const { return list_.empty() || consumed_ == list_.front().size(); }
  std::size_t size() const;
  /// Of memory, filled or not.
  std::size_t bytesHeld() const;
  void append(std::string_view bytes);
  /// Appends `head` and `tail` so that they stand together in memory; without memory for both, neither.
  void appendWhole(std::string_view head, std::string_view tail);
  /// The first bytes that stand together in memory, of which there must be some. Valid until the next change.
  std::string_view front() const;
  /// Removes the first `count` bytes of `front()`. The memory of the last chunk is kept if that is little.
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
  std::size_t consumed_ = 0;  // bytes of the first chunk that are gone
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
  /// The first bytes that stand together in memory; not empty unless the queue is. Valid until the next
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
