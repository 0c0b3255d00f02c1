// StreamHash: 64 bits that stand for a stream of bytes, eight of them at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quarnex::simulation {

/// The same bytes give the same value on every machine, in whatever pieces they come. Not for adversaries.
class StreamHash {
 public:
  void add(std::string_view bytes) {
    size_ += bytes.size();
    while (held_ > 0 && !bytes.empty()) {
      hold(bytes.front());
      bytes.remove_prefix(1);
    }
    for (; bytes.size() >= kWord; bytes.remove_prefix(kWord)) mix(wordAt(bytes.data()));
    for (const char byte : bytes) hold(byte);
  }
  std::uint64_t value() const {
    StreamHash end = *this;
    end.mix(rest_);
    end.mix(size_);
    return end.hash_;
  }

 private:
  static constexpr std::size_t kWord = 8;

  // Little-endian everywhere; compilers make one load of it where that is the machine's own order.
  static std::uint64_t wordAt(const char* bytes) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < kWord; ++i)
      word |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    return word;
  }
  void hold(char byte) {
    rest_ |= static_cast<std::uint64_t>(static_cast<unsigned char>(byte)) << (8 * held_);
    if (++held_ < kWord) return;
    mix(rest_);
    rest_ = held_ = 0;
  }
  void mix(std::uint64_t word) {
    hash_ = (hash_ ^ word) * 0x9E3779B97F4A7C15;
    hash_ ^= hash_ >> 32;
  }

  std::uint64_t hash_ = 0xCBF29CE484222325;
  std::uint64_t rest_ = 0;  // bytes that do not make a word yet
  std::size_t held_ = 0;    // how many
  std::uint64_t size_ = 0;
};

}  // namespace quarnex::simulation
