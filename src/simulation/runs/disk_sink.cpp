#include "simulation/runs/disk_sink.h"

#include <charconv>
#include <cstddef>
#include <sstream>

#include "recording/player/player.h"

namespace quarnex::simulation {
namespace {

constexpr std::size_t kWaitingBytesMax = 64'000;
constexpr std::size_t kKeptBytesMax = 1'000'000;
constexpr std::string_view kMark = "{\"missing\":";

}  // namespace

void DiskSink::write(std::string_view lines) {
  written_ += lines.size();
  backlog_.add(lines, kWaitingBytesMax);
  if (disk_.beforeWrite) return;
  marked_.write(backlog_);
  backlog_ = {};
}

std::string_view DiskSink::flaw() {
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

// A refused write leaves a part of its bytes in the file.
bool DiskSink::writeAt(std::uintmax_t position, std::string_view bytes) {
  if (removed()) return true;
  over_ = over_ || position + bytes.size() > kKeptBytesMax;
  full_ = over_ || !disk_.takes(bytes.size());
  text_.replace(position, bytes.size(), full_ ? bytes.substr(0, bytes.size() / 2) : bytes);
  return !full_;
}

// Bytes of the lines in the file, and bytes that its gaps state.
std::uint64_t DiskSink::bytesAccountedFor() const {
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

}  // namespace quarnex::simulation
