// Lines on a storage that may refuse some of them: in their place a line says how many bytes are missing.
#pragma once

#include <cstdint>
#include <string_view>

#include "recording/recorder/backlog.h"
#include "services/storage.h"

namespace quarnex::recording {

/// What is on the storage is whole lines at any time, as far as the storage can be cut.
class MarkedStorage {
 public:
  /// `storage` is empty and outlives this.
  explicit MarkedStorage(Storage& storage) : storage_(storage) {}

  /// Writes the lines, and knows from then on that others are missing behind them.
  void write(const Backlog& backlog);
  /// Marks what is missing at the end.
  void finish();
  /// Bytes of lines that were left out so far, wherever.
  std::uint64_t missing() const { return missing_; }

 private:
  void writeOut(std::string_view lines);

  Storage& storage_;
  std::uintmax_t wholeBytes_ = 0;  // up to the last line or mark that stays
  std::uint64_t notWritten_ = 0;   // bytes that are missing since
  std::uint64_t missing_ = 0;
};

}  // namespace quarnex::recording
