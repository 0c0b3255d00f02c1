#include "recording/file_sink.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "quarnex/failure.h"
#include "recording/line_writer.h"

namespace quarnex::recording {
namespace {

// Between two writes: so that a busy host's lines go out together, and a crash loses little.
constexpr std::chrono::milliseconds kPause{20};

// What a full disk takes or refuses as a whole.
constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

// About so much, up to the end of a line.
std::string_view firstLines(std::string_view lines) {
  const std::size_t end = lines.substr(0, kPieceBytes).rfind('\n');
  return lines.substr(0, (end == lines.npos ? lines.find('\n') : end) + 1);
}

std::string markOf(std::uint64_t bytes) {
  std::string mark;
  writeMissing(mark, bytes);
  return mark;
}

Failure openFailure(int error) {
  const auto code = static_cast<std::errc>(error);
  if (code == std::errc::no_such_file_or_directory || code == std::errc::not_a_directory) {
    return {76, "Path not found"};
  }
  if (code == std::errc::permission_denied || code == std::errc::read_only_file_system) {
    return {70, "Permission denied"};
  }
  return {75, "Path/File access error"};
}

}  // namespace

FileSink::FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax)
    : path_(path), pendingBytesMax_(pendingBytesMax) {
  file_.rdbuf()->pubsetbuf(nullptr, 0);  // the pending text is buffer enough
  errno = 0;
  file_.open(path, std::ios::binary | std::ios::trunc);
  if (!file_) throw openFailure(errno);
  writer_ = std::thread([this] { writePending(); });
}

FileSink::~FileSink() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_one();
  writer_.join();
}

void FileSink::write(std::string_view lines) {
  bool worthWaking = false;
  {
    const std::lock_guard lock(mutex_);
    worthWaking = isIdle() || isUrgent();
    if (notKept_ > 0 || pending_.size() + lines.size() > pendingBytesMax_) {
      notKept_ += lines.size();
    } else {
      pending_ += lines;
    }
  }
  if (worthWaking) wake_.notify_one();
}

void FileSink::writePending() {
  std::string lines;
  for (std::unique_lock lock(mutex_); !ending_ || !isIdle();) {
    wake_.wait(lock, [&] { return ending_ || !isIdle(); });
    lines.clear();
    lines.swap(pending_);
    const std::uint64_t notKept = std::exchange(notKept_, 0);
    lock.unlock();
    writeInPieces(lines);
    notWritten_ += notKept;
    lock.lock();
    wake_.wait_for(lock, kPause, [&] { return ending_ || isUrgent(); });
  }
  if (notWritten_ > 0) writeOut("");
}

void FileSink::writeInPieces(std::string_view lines) {
  while (!lines.empty()) {
    const std::string_view piece = firstLines(lines);
    writeOut(piece);
    lines.remove_prefix(piece.size());
  }
}

// A line that the disk took in part would damage the file, so the file ends with the last whole piece; the
// mark stands there as long as more does not fit.
void FileSink::writeOut(std::string_view lines) {
  const std::string mark = notWritten_ > 0 ? markOf(notWritten_) : "";
  if (append(mark) && append(lines)) {
    wholeBytes_ += mark.size() + lines.size();
    notWritten_ = 0;
    return;
  }
  notWritten_ += lines.size();
  cutBack();
  if (!append(markOf(notWritten_))) cutBack();
  goBack();
}

bool FileSink::append(std::string_view lines) {
  file_.write(lines.data(), static_cast<std::streamsize>(lines.size()));
  file_.flush();
  return file_.good();
}

void FileSink::cutBack() {
  std::error_code ignored;
  const bool isLonger = std::filesystem::is_regular_file(path_, ignored) &&
                        std::filesystem::file_size(path_, ignored) > wholeBytes_;
  if (isLonger) std::filesystem::resize_file(path_, wholeBytes_, ignored);
  goBack();
}

void FileSink::goBack() {
  file_.clear();
  file_.seekp(static_cast<std::streamoff>(wholeBytes_));
  file_.clear();  // a pipe cannot go back
}

}  // namespace quarnex::recording
