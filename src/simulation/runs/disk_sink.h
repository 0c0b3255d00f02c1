// DiskSink: a recording on the disk of a simulated host, which may be full, slow, refuse writes, lose the
// file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/simulated/disk.h"
#include "recording/format/sink.h"
#include "recording/recorder/marked_storage.h"
#include "services/storage.h"

namespace quarnex::simulation {
using namespace simulated;

/// Writes as a recorder does on a real disk, but without a thread. Keeps the beginning of a recording only,
/// and takes the disk for full from there on.
class DiskSink final : public recording::Sink, private Storage {
 public:
  /// `disk` outlives it.
  explicit DiskSink(Disk& disk) : disk_(disk), removals_(disk.removals) {}

  void write(std::string_view lines) override;
  bool full() const override { return over_; }

  /// Writes what still waits, and plays what is there up to the first gap. What is wrong with it, "" =
  /// nothing.
  std::string_view flaw();
  /// Whether there is a gap, once `flaw` was asked.
  bool gap() const { return gap_; }

 private:
  bool writeAt(std::uintmax_t position, std::string_view bytes) override;
  void cutTo(std::uintmax_t bytes) override { text_.resize(bytes); }
  bool removed() const { return disk_.removals != removals_; }
  std::uint64_t bytesAccountedFor() const;

  Disk& disk_;
  std::uint64_t removals_;     // of the disk before this file was created
  std::uint64_t written_ = 0;  // bytes of the whole recording
  recording::Backlog backlog_;
  recording::MarkedStorage marked_{*this};
  std::string text_;
  bool full_ = false;  // the last write was refused
  bool over_ = false;  // the beginning that is kept has ended
  bool gap_ = false;
};

}  // namespace quarnex::simulation
