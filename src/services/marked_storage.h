// Writes lines to a storage that may refuse some, and puts a mark in the place of those that are missing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "services/storage.h"

namespace quarnex {

/// Lines that are not in a file although they were given to its writer.
struct WriteLosses {
  std::uint64_t bytes = 0;
  std::uint64_t lines = 0;
  std::int16_t lastError =
      0;  ///< number of the last failed write; 0 if there was none and the disk was too slow

  bool any() const { return bytes > 0; }
  void add(std::string_view missing) {
    bytes += missing.size();
    lines += static_cast<std::uint64_t>(std::count(missing.begin(), missing.end(), '\n'));
  }
  WriteLosses& operator+=(const WriteLosses& more) {
    bytes += more.bytes;
    lines += more.lines;
    if (more.lastError != 0) lastError = more.lastError;
    return *this;
  }
};

/// Makes the line, with its end, that stands in a file in the place of missing ones.
using LossMark = std::string (*)(const WriteLosses& missing);

/// Lines that wait to be written, up to a limit, and the losses behind them.
struct Backlog {
  std::string lines;
  WriteLosses dropped;

  bool empty() const { return lines.empty() && !dropped.any(); }
  void add(std::string_view more, std::size_t bytesMax) {
    if (dropped.any() || lines.size() + more.size() > bytesMax) {
      dropped.add(more);
    } else {
      lines += more;
    }
  }
};

/// The storage holds only whole lines at any time, provided that it can be truncated.
class MarkedStorage {
 public:
  /// `storage` is empty and outlives this.
  MarkedStorage(Storage& storage, LossMark mark) : storage_(&storage), mark_(mark) {}

  /// Writes the lines and counts those dropped behind them as missing.
  void write(const Backlog& backlog) {
    for (std::string_view rest = backlog.lines; !rest.empty();) {
      const std::string_view piece = firstLines(rest);
      writeOut(piece);
      rest.remove_prefix(piece.size());
    }
    notWritten_ += backlog.dropped;
    losses_ += backlog.dropped;
  }
  /// Marks the lines that are missing at the end.
  void finish() {
    if (notWritten_.any()) writeOut("");
  }
  /// Writes the next lines to `storage`, which is empty and outlives this.
  void moveTo(Storage& storage) {
    storage_ = &storage;
    wholeBytes_ = 0;
  }
  /// All lines that are missing so far.
  const WriteLosses& losses() const { return losses_; }

 private:
  // Written at once: a full disk takes or refuses a piece as a whole.
  static constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

  // As many whole lines as fit into kPieceBytes, at least one.
  static std::string_view firstLines(std::string_view lines) {
    const std::size_t end = lines.substr(0, kPieceBytes).rfind('\n');
    return lines.substr(0, (end == lines.npos ? lines.find('\n') : end) + 1);
  }

  // A partly written line would damage the file, so the storage is cut behind the last complete piece. The
  // mark stays there until lines fit again. Another program may have truncated the file meanwhile.
  void writeOut(std::string_view lines) {
    wholeBytes_ = std::min(wholeBytes_, storage_->size());
    const std::string mark = notWritten_.any() ? mark_(notWritten_) : "";
    std::int16_t error = storage_->writeAt(wholeBytes_, mark);
    if (error == 0) error = storage_->writeAt(wholeBytes_ + mark.size(), lines);
    if (error == 0) {
      wholeBytes_ += mark.size() + lines.size();
      notWritten_ = {};
      return;
    }
    WriteLosses missing{0, 0, error};
    missing.add(lines);
    notWritten_ += missing;
    losses_ += missing;
    storage_->cutTo(wholeBytes_);
    if (storage_->writeAt(wholeBytes_, mark_(notWritten_)) != 0) storage_->cutTo(wholeBytes_);
  }

  Storage* storage_;
  LossMark mark_;
  std::uintmax_t wholeBytes_ = 0;  // of complete lines and marks in the storage
  WriteLosses notWritten_;         // missing behind them
  WriteLosses losses_;
};

}  // namespace quarnex
