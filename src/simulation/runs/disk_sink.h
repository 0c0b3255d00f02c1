// DiskSink: writes a recording on the disk of a simulated host, which may be full, slow or refuse writes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/simulated/simulated_files.h"
#include "recording/format/sink.h"
#include "recording/recorder/marked_storage.h"
#include "services/storage.h"

namespace quarnex::simulation {
using namespace simulated;

/// Writes as a recorder does on a real disk, but without a thread. Keeps only the beginning of a recording,
/// and acts from there on as if the disk were full.
class DiskSink final : public recording::Sink, private Storage {
 public:
  /// `disk` outlives it.
  explicit DiskSink(Disk& disk) : disk_(disk), removals_(disk.removals) {}

  void write(std::string_view lines) override;
  bool full() const override { return over_; }

  /// Writes the waiting lines and replays the file up to its first gap. Describes the first defect of the
  /// file; "" if it has none.
  std::string_view flaw();
  /// After `flaw`: true if the file has a gap.
  bool gap() const { return gap_; }

 private:
  bool writeAt(std::uintmax_t position, std::string_view bytes) override;
  void cutTo(std::uintmax_t bytes) override { text_.resize(bytes); }
  bool removed() const { return disk_.removals != removals_; }
  std::uint64_t bytesAccountedFor() const;

  Disk& disk_;
  std::uint64_t removals_;     // from the disk before this file was created
  std::uint64_t written_ = 0;  // bytes of the whole recording
  recording::Backlog backlog_;
  recording::MarkedStorage marked_{*this};
  std::string text_;
  bool full_ = false;  // the last write was refused
  bool over_ = false;  // the kept beginning has ended
  bool gap_ = false;
};

}  // namespace quarnex::simulation
