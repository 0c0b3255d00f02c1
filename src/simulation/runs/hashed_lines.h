// HashedLines: a recording's hash, and the recording itself where somebody wants it.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "recording/format/lines.h"
#include "recording/format/sink.h"
#include "recording/format/text_lines.h"
#include "simulation/checks/independent/stream_hash.h"

namespace quarnex::simulation {

/// The hash is made of what the lines say, before that is written out: the text follows from it, and costs
/// many times as much.
class HashedLines final : public recording::Lines {
 public:
  /// Before the first line: `sink` gets them all, written out, until it is full.
  void alsoTo(std::shared_ptr<recording::Sink> sink) { texts_.emplace_back(std::move(sink)); }

  void begin(std::int32_t utcOffset) override;
  void take(const recording::LineParts& line) override;
  void pause() override;

  /// Of all lines so far.
  std::uint64_t hash() const { return hash_.value(); }

 private:
  StreamHash hash_;
  std::vector<recording::TextLines> texts_;
};

}  // namespace quarnex::simulation
