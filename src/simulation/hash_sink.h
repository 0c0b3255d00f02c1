// HashSink: a recording's hash, and the recording itself where somebody wants it.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string_view>
#include <utility>

#include "recording/sink.h"

namespace quarnex::simulation {

class HashSink final : public recording::Sink {
 public:
  /// `copy` gets all lines; nullptr = nobody does.
  explicit HashSink(std::unique_ptr<std::ostream> copy = nullptr) : copy_(std::move(copy)) {}

  void write(std::string_view lines) override {
    for (const char byte : lines) hash_ = (hash_ ^ static_cast<unsigned char>(byte)) * kPrime;
    if (copy_) copy_->write(lines.data(), static_cast<std::streamsize>(lines.size()));
  }
  /// FNV-1a, 64 bits, of the recording so far.
  std::uint64_t hash() const { return hash_; }
  /// False if the copy lacks something.
  bool whole() { return !copy_ || copy_->flush().good(); }

 private:
  static constexpr std::uint64_t kPrime = 0x100000001B3;
  std::uint64_t hash_ = 0xCBF29CE484222325;
  std::unique_ptr<std::ostream> copy_;
};

}  // namespace quarnex::simulation
