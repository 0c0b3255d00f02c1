// Receivers of a recording: typed lines, and their text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "recording/format/line.h"

namespace quarnex::recording {

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

/// Receives the text of a recording.
class Sink {
 public:
  virtual ~Sink() = default;
  /// Takes whole lines, in order, and returns at once. Never fails: lines that cannot be kept are replaced by
  /// a mark.
  virtual void write(std::string_view lines) = 0;
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

}  // namespace quarnex::recording
