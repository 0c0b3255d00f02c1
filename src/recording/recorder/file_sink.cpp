#include "recording/recorder/file_sink.h"

#include <chrono>
#include <utility>

namespace quarnex::recording {

FileSink::FileSink(const std::filesystem::path& path, std::size_t pendingBytesMax)
    : pendingBytesMax_(pendingBytesMax), file_(createStorage(path)) {
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
  // Between two writes: collects the lines of a busy host, yet a crash loses little.
  constexpr std::chrono::milliseconds kPause{20};
  Backlog backlog;
  for (std::unique_lock lock(mutex_); !ending_ || !pending_.empty();) {
    wake_.wait(lock, [&] { return ending_ || !pending_.empty(); });
    backlog.lines.clear();
    backlog.lines.swap(pending_.lines);
    backlog.dropped = std::exchange(pending_.dropped, 0);
    lock.unlock();
    marked_.write(backlog);
    missing_ = marked_.missing();
    lock.lock();
    wake_.wait_for(lock, kPause, [&] { return ending_ || isUrgent(); });
  }
  marked_.finish();
}

}  // namespace quarnex::recording
