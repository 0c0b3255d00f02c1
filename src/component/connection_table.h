// The growable table of links. Records never move, so a reference to one stays good for the life of the
// library.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "component/connection_record.h"

namespace quarnex {

class ConnectionTable {
 public:
  /// Makes slot `count` + 1 of a table that holds `count` links.
  void grow(std::int16_t count) {
    if (static_cast<std::size_t>(count) == chunks_.size() * kChunk) {
      chunks_.push_back(std::make_unique<std::array<ConnectionRecord, kChunk>>());
    }
  }

  /// Slot `index`, 1 to the number of links; not checked here.
  ConnectionRecord& operator[](std::int16_t index) {
    const auto slot = static_cast<std::size_t>(index - 1);
    return (*chunks_[slot / kChunk])[slot % kChunk];
  }

 private:
  static constexpr std::size_t kChunk = 16;
  std::vector<std::unique_ptr<std::array<ConnectionRecord, kChunk>>> chunks_;
};

}  // namespace quarnex
