// Writes the lines of a recording as text, without copies of what they refer to and without a JSON library.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "recording/format/line.h"
#include "recording/format/sink.h"

namespace quarnex::recording {

/// Appends the first line of a recording.
void writeHeader(std::string& out, std::int32_t utcOffset);
/// Appends any other line.
void writeLine(std::string& out, const Line& line);
/// The text of one line without its line feed. The keys are in the recorder's order.
std::string textOf(const Line& line);

/// Passes lines to a sink as text, step by step.
class LineWriter final : public LineSink {
 public:
  explicit LineWriter(std::shared_ptr<Sink> sink) : sink_(std::move(sink)) {}

  void begin(std::int32_t utcOffset) override;
  void take(const Line& line) override;
  void pause() override;

  const Sink& sink() const { return *sink_; }

 private:
  std::shared_ptr<Sink> sink_;
  std::string lines_;  // of the step in progress
};

}  // namespace quarnex::recording
