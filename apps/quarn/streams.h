// The lines of a descriptor, read as they come and never waited for. Output to a descriptor whose reader may
// be slow: what it does not take now waits here, and the links do not. One turn of the tool's loop: waits for
// the links, the input and the outputs together.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "quarnex/host_loop.h"

namespace quarnex::tool {

struct Line {
  std::uint64_t number = 0;  ///< from 1
  std::string text;          ///< without the line end; "" if too long
  bool tooLong = false;
};

/// Cuts what arrives on a descriptor into lines. Work is linear in the bytes, however they are split.
class LineReader {
 public:
  /// A line of more than `lineBytesMax` bytes is thrown away, so that an endless one does not fill the
  /// memory.
  LineReader(int descriptor, std::size_t lineBytesMax)
      : descriptor_(descriptor), lineBytesMax_(lineBytesMax) {}

  int descriptor() const { return descriptor_; }

  /// Reads once, at most 64 KiB. Does not wait if poll has said that there is something.
  void readSome();

  /// The next whole line; at the end of the input also the last one without a line end. Nothing if none is
  /// there.
  std::optional<Line> next();

  /// True once the end of the input, or an error, has been met. Lines may still wait in `next`.
  bool ended() const { return ended_; }
  /// Why reading ended, "" for an ordinary end.
  const std::string& error() const { return error_; }

 private:
  Line cut(std::size_t end, std::size_t nextStart);
  void dropOverlongLine();

  int descriptor_;
  std::size_t lineBytesMax_;
  std::string buffer_;
  std::size_t start_ = 0;    // of the line that comes next
  std::size_t scanned_ = 0;  // no line end stands between start_ and here
  std::uint64_t lines_ = 0;
  bool overlong_ = false;  // the beginning of the line at start_ has been thrown away
  bool ended_ = false;
  std::string error_;
};

class OutputBuffer {
 public:
  explicit OutputBuffer(int descriptor) : descriptor_(descriptor) {}

  int descriptor() const { return descriptor_; }

  void append(std::string_view bytes);

  /// Bytes that wait for the reader.
  std::size_t waiting() const { return bytes_.size() - written_; }

  /// Writes what the reader takes without waiting for it.
  void writeSome();
  /// Waits until everything is written.
  void flush();

  /// True once writing has failed for good; everything appended is thrown away from then on.
  bool broken() const { return failure_ != 0; }
  /// The reader has gone away, as readers of a pipe may.
  bool readerGone() const;
  /// Why writing failed.
  std::string error() const;

 private:
  void writeOnce();

  int descriptor_;
  std::string bytes_;
  std::size_t written_ = 0;
  int failure_ = 0;
};

/// Waits until the links have something to do, `input` (if not null) can be read or an output can take what
/// waits for it, at most `maxWait` (negative = no limit); then reads, writes and turns the links' loop once.
void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputBuffer*> outputs,
              std::chrono::milliseconds maxWait);

}  // namespace quarnex::tool
