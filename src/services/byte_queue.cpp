#include "services/byte_queue.h"

#include "services/assertion.h"

#include <algorithm>
#include <utility>

namespace quarnex {

namespace {
constexpr std::size_t kChunkBytesMax = std::size_t{64} * 1024;

}  // namespace

std::size_t ByteChunks::bytesHeld() const {
  std::size_t bytes = 0;
  for (const std::string& chunk : list_) bytes += chunk.capacity();
  return bytes;
}

void ByteChunks::append(std::string_view bytes) {
  while (!bytes.empty()) {
    if (list_.empty() || list_.back().size() >= kChunkBytesMax) list_.emplace_back();
    std::string& last = list_.back();
    const std::size_t taken = std::min(bytes.size(), kChunkBytesMax - last.size());
    makeRoom(taken);
    last.append(bytes.substr(0, taken));
    size_ += taken;
    bytes.remove_prefix(taken);
  }
}

void ByteChunks::appendWhole(std::string_view head, std::string_view tail) {
  const std::size_t count = head.size() + tail.size();
  if (list_.empty() || (!list_.back().empty() && list_.back().size() + count > kChunkBytesMax)) {
    list_.emplace_back();
  }
  makeRoom(count);
  list_.back().append(head).append(tail);
  size_ += count;
}

// Ensures that `count` bytes fit without an allocation. First removes consumed bytes if they are more than
// half of the chunk, so that a queue that never empties stays small. A chunk grows by doubling; above half of
// its maximum it grows to the maximum at once. A larger block would be mapped on its own, and unmapping many
// of them costs the system milliseconds.
void ByteChunks::makeRoom(std::size_t count) {
  std::string& last = list_.back();
  if (last.size() + count <= last.capacity()) return;
  if (list_.size() == 1 && consumed_ > last.size() / 2) last.erase(0, std::exchange(consumed_, 0));
  const std::size_t needed = last.size() + count;
  if (needed <= last.capacity()) return;
  last.reserve(std::max(needed, needed > kChunkBytesMax / 2 ? kChunkBytesMax : 2 * last.capacity()));
}

std::string_view ByteChunks::front() const {
  return std::string_view(list_.front()).substr(consumed_);
}

void ByteChunks::consume(std::size_t count) {
  QUARNEX_ASSERT(count <= front().size());
  consumed_ += count;
  size_ -= count;
  std::string& first = list_.front();
  if (consumed_ < first.size()) return;
  consumed_ = 0;
  if (list_.size() == 1 && first.capacity() <= kKeptCapacityMax) return first.clear();
  list_.pop_front();
}

std::string ByteQueue::text() const {
  std::string whole;
  if (empty()) return whole;
  whole.reserve(size());
  chunks_->visit([&](std::string_view bytes) {
    whole += bytes;
    return true;
  });
  return whole;
}

}  // namespace quarnex
