#include "quarn/output_buffer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace quarnex::tool {
namespace {

bool writable(int descriptor, int waitMilliseconds) {
  pollfd waited{descriptor, POLLOUT, 0};
  return poll(&waited, 1, waitMilliseconds) > 0;
}

}  // namespace

void OutputBuffer::append(std::string_view bytes) {
  if (!broken()) bytes_ += bytes;
}

void OutputBuffer::writeSome() {
  constexpr int kWritesMax = 64;
  for (int i = 0; i < kWritesMax && waiting() > 0 && writable(descriptor_, 0); ++i) writeOnce();
}

void OutputBuffer::flush() {
  while (waiting() > 0) {
    if (writable(descriptor_, -1)) writeOnce();
  }
}

bool OutputBuffer::readerGone() const {
  return failure_ == EPIPE;
}

std::string OutputBuffer::error() const {
  return std::strerror(failure_);
}

// A pipe that polls as writable takes PIPE_BUF bytes without waiting. The descriptor is not made non-blocking
// instead: that would change it for every process that shares it, the shell included.
void OutputBuffer::writeOnce() {
  const std::size_t size = std::min<std::size_t>(waiting(), PIPE_BUF);
  const ssize_t wrote = write(descriptor_, bytes_.data() + written_, size);
  if (wrote < 0 && errno != EINTR && errno != EAGAIN) failure_ = errno;
  if (wrote > 0) written_ += static_cast<std::size_t>(wrote);
  if (broken() || waiting() == 0) {
    bytes_.clear();
    written_ = 0;
  } else if (written_ > bytes_.size() / 2) {
    bytes_.erase(0, written_);
    written_ = 0;
  }
}

}  // namespace quarnex::tool
