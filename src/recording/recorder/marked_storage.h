// Writes lines to a storage that may refuse some, and replaces those by a line with the number of missing
// bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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
  void write(const Backlog& backlog);
  /// Marks the lines that are missing at the end.
  void finish();
  /// Bytes of all lines that are missing so far.
  std::uint64_t missing() const { return missing_; }

 private:
  void writeOut(std::string_view lines);

  Storage& storage_;
  std::uintmax_t wholeBytes_ = 0;  // up to the last complete line or mark
  std::uint64_t notWritten_ = 0;   // bytes missing behind them
  std::uint64_t missing_ = 0;
};

}  // namespace quarnex::recording
