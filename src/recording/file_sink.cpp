#include "recording/file_sink.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "quarnex/failure.h"
#include "recording/line_writer.h"

namespace quarnex::recording {
namespace {

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
  {
    const std::lock_guard lock(mutex_);
    if (pending_.size() + lines.size() > pendingBytesMax_) {
      notKept_ += lines.size();
      return;
    }
    if (notKept_ > 0) writeMissing(pending_, std::exchange(notKept_, 0));
    pending_ += lines;
  }
  wake_.notify_one();
}

void FileSink::writePending() {
  std::string lines;
  for (bool ended = false; !ended;) {
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [&] { return ending_ || !pending_.empty(); });
      ended = ending_;
      if (ended && notKept_ > 0) writeMissing(pending_, notKept_);
      lines.clear();
      lines.swap(pending_);
    }
    writeOut(lines);
  }
}

void FileSink::writeOut(const std::string& lines) {
  std::string mark;
  if (notWritten_ > 0) writeMissing(mark, notWritten_);
  file_.write(mark.data(), static_cast<std::streamsize>(mark.size()));
  file_.write(lines.data(), static_cast<std::streamsize>(lines.size()));
  file_.flush();
  if (file_) {
    wholeBytes_ += mark.size() + lines.size();
    notWritten_ = 0;
  } else {
    notWritten_ += lines.size();
    takeBack();
  }
}

// A line that the disk took in part would damage the file, so it goes back to where it ended before.
void FileSink::takeBack() {
  file_.clear();
  std::error_code ignored;
  if (std::filesystem::is_regular_file(path_, ignored))
    std::filesystem::resize_file(path_, wholeBytes_, ignored);
  file_.seekp(static_cast<std::streamoff>(wholeBytes_));
  file_.clear();
}

}  // namespace quarnex::recording
