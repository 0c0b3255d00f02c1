// Hashes the lines of a recording and, on request, passes them to sinks as text.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "recording/format/line_writer.h"
#include "recording/format/sink.h"
#include "simulation/checks/independent/stream_hash.h"

namespace quarnex::simulation {

/// The hash is made of the typed lines, not of their text: the text follows from them, and making it costs
/// many times as much.
class HashedLines final : public recording::LineSink {
 public:
  /// Passes all lines to `sink`, as text, until it is full. Call it before the first line.
  void alsoTo(std::shared_ptr<recording::Sink> sink) { texts_.emplace_back(std::move(sink)); }

  void begin(std::int32_t utcOffset) override;
  void take(const recording::Line& line) override;
  void pause() override;

  /// Hash of all lines so far.
  std::uint64_t hash() const { return hash_.value(); }

 private:
  StreamHash hash_;
  std::vector<recording::LineWriter> texts_;
};

}  // namespace quarnex::simulation
