#include "component/receive_queue.h"

#include <algorithm>

namespace quarnex {

namespace {
constexpr std::size_t kChunkBytesMax = std::size_t{64} * 1024;
}

std::size_t ReceiveQueue::size() const {
  if (empty()) return 0;
  std::size_t bytes = 0;
  for (const std::string& chunk : chunks_->list) bytes += chunk.size();
  return bytes - chunks_->consumed;
}

void ReceiveQueue::append(std::string_view bytes) {
  if (bytes.empty()) return;
  if (empty()) chunks_ = std::make_unique<Chunks>();
  while (!bytes.empty()) {
    if (chunks_->list.empty() || chunks_->list.back().size() == kChunkBytesMax) chunks_->list.emplace_back();
    std::string& last = chunks_->list.back();
    const std::size_t taken = std::min(bytes.size(), kChunkBytesMax - last.size());
    last.append(bytes.substr(0, taken));
    bytes.remove_prefix(taken);
  }
}

std::string_view ReceiveQueue::front() const {
  if (empty()) return {};
  return std::string_view(chunks_->list.front()).substr(chunks_->consumed);
}

void ReceiveQueue::consume(std::size_t count) {
  if (empty()) return;
  chunks_->consumed += count;
  if (chunks_->consumed < chunks_->list.front().size()) return;
  chunks_->list.pop_front();
  chunks_->consumed = 0;
  if (chunks_->list.empty()) chunks_.reset();
}

std::string ReceiveQueue::text() const {
  std::string whole;
  if (empty()) return whole;
  for (const std::string& chunk : chunks_->list) whole += chunk;
  return whole.substr(chunks_->consumed);
}

}  // namespace quarnex
