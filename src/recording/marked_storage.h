// Lines on a storage that may refuse some of them: in their place a line says how many bytes are missing.
#pragma once

#include <cstdint>
#include <string_view>

#include "recording/backlog.h"

namespace quarnex::recording {

class Storage {
 public:
  virtual ~Storage() = default;
  /// False if it did not take them all; it may have taken a part. One that cannot go back, such as a pipe,
  /// puts them behind what is there.
  virtual bool writeAt(std::uintmax_t position, std::string_view bytes) = 0;
  /// Leaves the first `bytes` of what is there, if it can.
  virtual void cutTo(std::uintmax_t bytes) = 0;
};

/// What is on the storage is whole lines at any time, as far as the storage can be cut.
class MarkedStorage {
 public:
  /// `storage` is empty and outlives this.
  explicit MarkedStorage(Storage& storage) : storage_(storage) {}

  /// Writes the lines, and knows from then on that others are missing behind them.
  void write(const Backlog& backlog);
  /// Marks what is missing at the end.
  void finish();

 private:
  void writeOut(std::string_view lines);

  Storage& storage_;
  std::uintmax_t wholeBytes_ = 0;  // up to the last line or mark that stays
  std::uint64_t notWritten_ = 0;   // bytes that are missing since
};

}  // namespace quarnex::recording
