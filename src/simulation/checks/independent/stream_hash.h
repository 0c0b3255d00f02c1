// StreamHash: 64 bits that stand for a stream of numbers and texts.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace quarnex::simulation {

/// The same stream gives the same value on every machine. Not for adversaries.
///
/// Four lanes take turns with the words of eight bytes of a text: one multiplies by 2^64 over the golden
/// ratio and folds the upper half onto the lower. They do not wait for each other. Numbers go to the first.
class StreamHash {
 public:
  void add(std::uint64_t word) { lanes_[0] = mixed(lanes_[0], word); }

  /// The last word overlaps the one before it, or lacks bytes in a text that has fewer than eight.
  void add(std::string_view text) {
    auto [a, b, c, d] = lanes_;
    const char* at = text.data();
    std::size_t left = text.size();
    a = mixed(a, left);
    for (; left >= 4 * kWord; at += 4 * kWord, left -= 4 * kWord) {
      a = mixed(a, wordAt(at));
      b = mixed(b, wordAt(at + kWord));
      c = mixed(c, wordAt(at + 2 * kWord));
      d = mixed(d, wordAt(at + 3 * kWord));
    }
    if (left >= 2 * kWord) {
      b = mixed(b, wordAt(at));
      c = mixed(c, wordAt(at + kWord));
      at += 2 * kWord;
      left -= 2 * kWord;
    }
    if (left >= kWord) d = mixed(d, wordAt(at));
    b = mixed(b, text.size() >= kWord ? wordAt(text.data() + text.size() - kWord) : shortWord(text));
    lanes_ = {a, b, c, d};
  }

  std::uint64_t value() const {
    std::uint64_t value = 0;
    for (const std::uint64_t lane : lanes_) value = mixed(value, lane);
    return value;
  }

 private:
  static constexpr std::size_t kWord = 8;

  // Little-endian everywhere.
  static std::uint64_t wordAt(const char* bytes) {
    std::uint64_t word = 0;
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(&word, bytes, kWord);
    } else {
      for (std::size_t i = kWord; i > 0; --i) word = word << 8 | static_cast<unsigned char>(bytes[i - 1]);
    }
    return word;
  }
  static std::uint64_t shortWord(std::string_view text) {
    std::uint64_t word = 0;
    for (const char byte : text) word = word << 8 | static_cast<unsigned char>(byte);
    return word;
  }
  static std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15;
    return hash ^ hash >> 32;
  }

  std::array<std::uint64_t, 4> lanes_{1, 2, 3, 4};
};

}  // namespace quarnex::simulation
