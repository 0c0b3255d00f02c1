// Writes output on a thread of its own, so that neither a reader that stops nor a disk that hangs delays the
// links or the end of the program.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quarnex::tool {

class LoopWake;

/// Keeps the bytes that a descriptor has not accepted yet. The thread starts with the first byte.
class OutputWriter {
 public:
  explicit OutputWriter(int descriptor);
  /// Drops the bytes not written yet, without waiting.
  ~OutputWriter();
  OutputWriter(const OutputWriter&) = delete;
  OutputWriter& operator=(const OutputWriter&) = delete;

  void append(std::string_view bytes);
  /// Appends one line: on a terminal as `printable` shows it, otherwise exactly `text`.
  void appendLine(const std::string& text);

  /// Number of lines that were appended by `appendLine`, and of those that have been written.
  std::uint64_t linesAppended() const;
  std::uint64_t linesWritten() const;

  /// Number of bytes not written yet.
  std::size_t unwritten() const;

  /// Waits until all bytes are written or writing has failed, at most until `deadline`.
  void flush(std::chrono::steady_clock::time_point deadline) const;

  /// True after a write error. All bytes appended later are discarded.
  bool broken() const;
  /// Description of the write error.
  std::string error() const;

  /// Signalled when all bytes are written or writing has failed.
  const LoopWake& wake() const;

 private:
  struct State;  // shared with the thread, which may outlive this object in a write that hangs

  std::shared_ptr<State> state_;
  bool terminal_;
  bool started_ = false;
};

}  // namespace quarnex::tool
