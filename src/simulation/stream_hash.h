// StreamHash: 64 bits that stand for a stream of bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace quarnex::simulation {

/// The same bytes give the same value on every machine, in whatever pieces they come. Not for adversaries.
///
/// Four lanes take turns with words of eight bytes: one multiplies by 2^64 over the golden ratio and folds
/// the upper half onto the lower. They do not wait for each other, so a block goes through at the speed of
/// memory.
class StreamHash {
 public:
  void add(std::string_view bytes) {
    size_ += bytes.size();
    while (!bytes.empty()) {
      const std::size_t taken = std::min(bytes.size(), block_.size() - held_);
      std::memcpy(block_.data() + held_, bytes.data(), taken);
      held_ += taken;
      bytes.remove_prefix(taken);
      if (held_ == block_.size()) mixBlock();
    }
  }
  std::uint64_t value() const {
    StreamHash end = *this;
    std::fill(end.block_.begin() + static_cast<std::ptrdiff_t>(held_), end.block_.end(), '\0');
    end.mixBlock();
    std::uint64_t value = size_;
    for (const std::uint64_t lane : end.lanes_) value = mixed(value, lane);
    return value;
  }

 private:
  static constexpr std::size_t kWord = 8;
  static constexpr std::size_t kBlock = 4096;

  // Little-endian everywhere; compilers make one load of it where that is the machine's own order.
  static std::uint64_t wordAt(const char* bytes) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < kWord; ++i)
      word |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    return word;
  }
  static std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15;
    return hash ^ hash >> 32;
  }
  void mixBlock() {
    auto [a, b, c, d] = lanes_;
    for (const char* at = block_.data(); at != block_.data() + kBlock; at += 4 * kWord) {
      a = mixed(a, wordAt(at));
      b = mixed(b, wordAt(at + kWord));
      c = mixed(c, wordAt(at + 2 * kWord));
      d = mixed(d, wordAt(at + 3 * kWord));
    }
    lanes_ = {a, b, c, d};
    held_ = 0;
  }

  std::array<std::uint64_t, 4> lanes_{1, 2, 3, 4};
  std::uint64_t size_ = 0;
  std::size_t held_ = 0;  // bytes of the block that is being filled
  std::array<char, kBlock> block_{};
};

}  // namespace quarnex::simulation
