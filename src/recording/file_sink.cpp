#include "recording/file_sink.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "platform/quiet_thread.h"
#include "quarnex/failure.h"

namespace quarnex::recording {
namespace {

// Between two writes: so that a busy host's lines go out together, and a crash loses little.
constexpr std::chrono::milliseconds kPause{20};

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

FileStorage::FileStorage(const std::filesystem::path& path) : path_(path) {
  file_.rdbuf()->pubsetbuf(nullptr, 0);  // whoever writes has all together
  errno = 0;
  file_.open(path, std::ios::binary | std::ios::trunc);
  if (!file_) throw openFailure(errno);
}

bool FileStorage::writeAt(std::uintmax_t position, std::string_view bytes) {
  if (position != position_) goTo(position);
  file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file_.flush();
  position_ = file_.good() ? position + bytes.size() : kNowhere;
  return file_.good();
}

void FileStorage::cutTo(std::uintmax_t bytes) {
  std::error_code ignored;
  const bool isLonger =
      std::filesystem::is_regular_file(path_, ignored) && std::filesystem::file_size(path_, ignored) > bytes;
  if (isLonger) std::filesystem::resize_file(path_, bytes, ignored);
}

void FileStorage::goTo(std::uintmax_t position) {
  file_.clear();
  file_.seekp(static_cast<std::streamoff>(position));
  file_.clear();  // a pipe cannot go back
}

FileSink::FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax)
    : pendingBytesMax_(pendingBytesMax), file_(path) {
  writer_ = startQuietThread([this] { writePending(); });
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
    worthWaking = pending_.empty() || isUrgent();
    pending_.add(lines, pendingBytesMax_);
  }
  if (worthWaking) wake_.notify_one();
}

void FileSink::writePending() {
  Backlog backlog;
  for (std::unique_lock lock(mutex_); !ending_ || !pending_.empty();) {
    wake_.wait(lock, [&] { return ending_ || !pending_.empty(); });
    backlog.lines.clear();
    backlog.lines.swap(pending_.lines);
    backlog.notKept = std::exchange(pending_.notKept, 0);
    lock.unlock();
    marked_.write(backlog);
    lock.lock();
    wake_.wait_for(lock, kPause, [&] { return ending_ || isUrgent(); });
  }
  marked_.finish();
}

}  // namespace quarnex::recording
