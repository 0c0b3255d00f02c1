// DiskSink: writes a recording on the disk of a simulated host, which may be full, slow or refuse writes.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "platform/simulated/simulated_files.h"
#include "recording/format/line_writer.h"
#include "recording/player/player.h"
#include "recording/recorder/file_sink.h"
#include "services/marked_storage.h"
#include "services/storage.h"

namespace quarnex::simulation {
using namespace simulated;

/// Writes as a recorder does on a real disk, but without a thread. Keeps only the beginning of a recording,
/// and acts from there on as if the disk were full.
class DiskSink final : public recording::Sink, private Storage {
 public:
  /// `disk` outlives it.
  explicit DiskSink(Disk& disk) : disk_(disk), removals_(disk.removals) {}

  void write(std::string_view lines) override {
    written_ += lines.size();
    backlog_.add(lines, kWaitingBytesMax);
    if (disk_.beforeWrite) return;
    marked_.write(backlog_);
    backlog_ = {};
  }
  bool full() const override { return over_; }

  /// Writes the waiting lines and replays the file up to its first gap. Describes the first defect of the
  /// file, or "" for a file without defects.
  std::string_view flaw() {
    marked_.write(backlog_);
    marked_.finish();
    gap_ = text_.find(kMark) != std::string::npos;
    if (removed() || text_.empty()) return "";
    const std::uint64_t accounted = bytesAccountedFor();
    if (accounted > written_ || (accounted < written_ && !full_))
      return "a recording does not state how many bytes it lacks";
    std::istringstream in(text_);
    recording::RecordingReader reader(in);
    const recording::ReplayResult replayed = recording::replay(reader);
    if (replayed.mismatch) return "a recording does not replay up to its gap";
    const bool atGap = replayed.damage && reader.text().starts_with(kMark);
    return gap_ == atGap && (gap_ || !replayed.damage) ? "" : "a recording is damaged";
  }
  /// After `flaw`: true if the file has a gap.
  bool gap() const { return gap_; }

 private:
  static constexpr std::size_t kWaitingBytesMax = 64'000;
  static constexpr std::size_t kKeptBytesMax = 1'000'000;
  static constexpr std::string_view kMark = "{\"missing\":";

  // A refused write leaves a part of its bytes in the file.
  std::int16_t writeAt(std::uintmax_t position, std::string_view bytes) override {
    if (removed()) return 0;
    over_ = over_ || position + bytes.size() > kKeptBytesMax;
    full_ = over_ || !disk_.takes(bytes.size());
    text_.replace(static_cast<std::size_t>(position), bytes.size(),
                  full_ ? bytes.substr(0, bytes.size() / 2) : bytes);
    return full_ ? Disk::kFull : std::int16_t{0};
  }
  void cutTo(std::uintmax_t bytes) override { text_.resize(static_cast<std::size_t>(bytes)); }
  std::uintmax_t size() override { return text_.size(); }
  bool removed() const { return disk_.removals != removals_; }
  // Bytes of the lines in the file, and bytes that its gaps state.
  std::uint64_t bytesAccountedFor() const {
    std::uint64_t bytes = 0;
    std::istringstream lines(text_);
    for (std::string line; std::getline(lines, line);) {
      std::uint64_t missing = line.size() + 1;
      if (line.starts_with(kMark))
        std::from_chars(line.data() + kMark.size(), line.data() + line.size(), missing);
      bytes += missing;
    }
    return bytes;
  }

  Disk& disk_;
  std::uint64_t removals_;     // from the disk before this file was created
  std::uint64_t written_ = 0;  // bytes of the whole recording
  Backlog backlog_;
  MarkedStorage marked_{*this, recording::markOf};
  std::string text_;
  bool full_ = false;  // the last write was refused
  bool over_ = false;  // the kept beginning has ended
  bool gap_ = false;
};

}  // namespace quarnex::simulation
