// Where a recorder's lines go.
#pragma once

#include <string>
#include <string_view>

namespace quarnex::recording {

class Sink {
 public:
  virtual ~Sink() = default;
  /// Takes whole lines, in order, and returns at once. Never fails: what cannot be kept is marked where it is
  /// missing.
  virtual void write(std::string_view lines) = 0;
  /// True once no line that comes can be kept any more.
  virtual bool full() const { return false; }
};

/// Keeps everything in memory.
class MemorySink final : public Sink {
 public:
  void write(std::string_view lines) override { text_ += lines; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace quarnex::recording
