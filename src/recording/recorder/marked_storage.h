// Writes lines to a storage that may refuse some, and replaces those by a line with the number of missing
// bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "recording/format/line_writer.h"
#include "services/storage.h"

namespace quarnex::recording {

/// Lines that wait to be written, up to a limit, and the number of bytes beyond it.
struct Backlog {
  std::string lines;
  std::uint64_t dropped = 0;  ///< bytes of lines behind these

  bool empty() const { return lines.empty() && dropped == 0; }
  void add(std::string_view more, std::size_t bytesMax) {
    if (dropped > 0 || lines.size() + more.size() > bytesMax) {
      dropped += more.size();
    } else {
      lines += more;
    }
  }
};

/// The storage holds only whole lines at any time, provided that it can be truncated.
class MarkedStorage {
 public:
  /// `storage` is empty and outlives this.
  explicit MarkedStorage(Storage& storage) : storage_(storage) {}

  /// Writes the lines and counts those dropped behind them as missing.
  void write(const Backlog& backlog) {
    for (std::string_view rest = backlog.lines; !rest.empty();) {
      const std::string_view piece = firstLines(rest);
      writeOut(piece);
      rest.remove_prefix(piece.size());
    }
    notWritten_ += backlog.dropped;
    missing_ += backlog.dropped;
  }
  /// Marks the lines that are missing at the end.
  void finish() {
    if (notWritten_ > 0) writeOut("");
  }
  /// Bytes of all lines that are missing so far.
  std::uint64_t missing() const { return missing_; }

 private:
  // Written at once: a full disk takes or refuses a piece as a whole.
  static constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

  // As many whole lines as fit into kPieceBytes, at least one.
  static std::string_view firstLines(std::string_view lines) {
    const std::size_t end = lines.substr(0, kPieceBytes).rfind('\n');
    return lines.substr(0, (end == lines.npos ? lines.find('\n') : end) + 1);
  }

  static std::string markOf(std::uint64_t bytes) {
    return textOf(MissingLine{static_cast<std::int64_t>(bytes)}) + '\n';
  }

  // A partly written line would damage the recording, so the storage is cut behind the last complete piece.
  // The mark stays there until lines fit again.
  void writeOut(std::string_view lines) {
    const std::string mark = notWritten_ > 0 ? markOf(notWritten_) : "";
    if (storage_.writeAt(wholeBytes_, mark) && storage_.writeAt(wholeBytes_ + mark.size(), lines)) {
      wholeBytes_ += mark.size() + lines.size();
      notWritten_ = 0;
      return;
    }
    notWritten_ += lines.size();
    missing_ += lines.size();
    storage_.cutTo(wholeBytes_);
    if (!storage_.writeAt(wholeBytes_, markOf(notWritten_))) storage_.cutTo(wholeBytes_);
  }

  Storage& storage_;
  std::uintmax_t wholeBytes_ = 0;  // up to the last complete line or mark
  std::uint64_t notWritten_ = 0;   // bytes missing behind them
  std::uint64_t missing_ = 0;
};

}  // namespace quarnex::recording
