// HashSink: a recording's hash, and the recording itself where somebody wants it.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string_view>
#include <utility>

#include "recording/sink.h"
#include "simulation/stream_hash.h"

namespace quarnex::simulation {

class HashSink final : public recording::Sink {
 public:
  /// `copy` gets all lines; nullptr = nobody does.
  explicit HashSink(std::unique_ptr<std::ostream> copy = nullptr) : copy_(std::move(copy)) {}

  /// `other` gets all lines, too.
  void alsoTo(std::shared_ptr<recording::Sink> other) { other_ = std::move(other); }

  void write(std::string_view lines) override {
    hash_.add(lines);
    if (other_) other_->write(lines);
    if (copy_) copy_->write(lines.data(), static_cast<std::streamsize>(lines.size()));
  }
  /// Of all bytes of the recording so far.
  std::uint64_t hash() const { return hash_.value(); }
  /// False if the copy lacks something.
  bool whole() { return !copy_ || copy_->flush().good(); }

 private:
  StreamHash hash_;
  std::unique_ptr<std::ostream> copy_;
  std::shared_ptr<recording::Sink> other_;
};

}  // namespace quarnex::simulation
