// Writes the lines of a recording as text, without copies of what they refer to and without a JSON library.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "recording/format/line.h"

namespace quarnex::recording {

/// Appends any line but the first.
void writeLine(std::string& out, const Line& line);
/// The text of one line without its line feed. The keys are in the recorder's order.
std::string textOf(const Line& line);

/// Receives the typed lines of an engine that is being recorded.
class LineSink {
 public:
  virtual ~LineSink() = default;
  /// The first line.
  virtual void begin(std::int32_t utcOffset) = 0;
  virtual void take(const Line& line) = 0;
  /// No step is in progress: buffered lines may be passed on.
  virtual void pause() = 0;
};

/// Receives the text of a recording. This base discards it.
class Sink {
 public:
  virtual ~Sink() = default;
  /// Takes whole lines, in order, and returns at once. Never fails: lines that cannot be kept are replaced by
  /// a mark.
  virtual void write(std::string_view /*lines*/) {}
  /// True once no further line can be kept.
  virtual bool full() const { return false; }
};

/// Keeps everything in memory.
class MemorySink final : public Sink {
 public:
  void write(std::string_view lines) override { text_ += lines; }
  const std::string& text() const { return text_; }
  void clear() { text_.clear(); }

 private:
  std::string text_;
};

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
