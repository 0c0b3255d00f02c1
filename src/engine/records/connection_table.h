// Stores the records of all links. Records never move, so references to them stay valid as long as the
// library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "engine/records/connection_record.h"
#include "services/assertion.h"

namespace quarnex {

class ConnectionTable {
 public:
  /// Adds slot `count` + 1 to a table of `count` links, all or nothing.
  void grow(std::int16_t count) {
    if (static_cast<std::size_t>(count) == chunks_.size() * kChunk) {
      std::vector<ConnectionRecord> chunk;
      chunk.reserve(kChunk);
      chunks_.push_back(std::move(chunk));
    }
    chunks_.back().emplace_back();
  }

  /// Slot `index`, 1 to the number of slots.
  ConnectionRecord& operator[](std::int16_t index) {
    const auto slot = static_cast<std::size_t>(index - 1);
    QUARNEX_ASSERT(holds(slot));
    return chunks_[slot / kChunk][slot % kChunk];
  }

 private:
  // A tick passes all records. Many side by side are on few pages of memory, and finding those pages costs
  // the processor more than reading them.
  static constexpr std::size_t kChunk = 256;

  bool holds(std::size_t slot) const {
    return slot / kChunk < chunks_.size() && slot % kChunk < chunks_[slot / kChunk].size();
  }

  std::vector<std::vector<ConnectionRecord>> chunks_;  // each with room for all of its records
};

}  // namespace quarnex
