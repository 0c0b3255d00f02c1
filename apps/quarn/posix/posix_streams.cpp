// Reads and writes the standard streams, and turns the tool's loop, with poll.
#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>
#include <vector>

#include "quarn/streams.h"

namespace quarnex::tool {
namespace {

bool writable(int descriptor, int waitMilliseconds) {
  pollfd waited{descriptor, POLLOUT, 0};
  return poll(&waited, 1, waitMilliseconds) > 0;
}

}  // namespace

void LineReader::readSome() {
  constexpr std::size_t kReadBytesMax = std::size_t{64} * 1024;
  buffer_.erase(0, start_);
  scanned_ -= start_;
  start_ = 0;
  const std::size_t held = buffer_.size();
  buffer_.resize(held + kReadBytesMax);
  const ssize_t got = read(descriptor_, buffer_.data() + held, kReadBytesMax);
  const int failure = errno;
  buffer_.resize(held + (got > 0 ? static_cast<std::size_t>(got) : 0));
  if (got > 0 || (got < 0 && (failure == EINTR || failure == EAGAIN))) return;
  ended_ = true;
  if (got < 0) error_ = std::strerror(failure);
}

void OutputBuffer::writeSome() {
  constexpr int kWritesMax = 64;
  for (int i = 0; i < kWritesMax && unwritten() > 0 && writable(descriptor_, 0); ++i) writeOnce();
}

void OutputBuffer::flush() {
  while (unwritten() > 0) {
    if (writable(descriptor_, -1)) writeOnce();
  }
}

// A pipe that poll reports as writable accepts PIPE_BUF bytes without blocking. O_NONBLOCK would affect every
// process that shares the descriptor, including the shell.
void OutputBuffer::writeOnce() {
  const std::size_t size = std::min<std::size_t>(unwritten(), PIPE_BUF);
  const ssize_t wrote = write(descriptor_, bytes_.data() + written_, size);
  if (wrote < 0 && errno != EINTR && errno != EAGAIN) failure_ = errno;
  if (wrote > 0) written_ += static_cast<std::size_t>(wrote);
  if (broken() || unwritten() == 0) {
    bytes_.clear();
    written_ = 0;
  } else if (written_ > bytes_.size() / 2) {
    bytes_.erase(0, written_);
    written_ = 0;
  }
}

bool isTerminal(int descriptor) {
  return isatty(descriptor) == 1;
}

bool localeUsesUtf8() {
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputBuffer*> outputs,
              std::chrono::milliseconds maxWait) {
  std::vector<pollfd> waited{{loop.fd(), POLLIN, 0}};
  for (const OutputBuffer* output : outputs) {
    if (output->unwritten() > 0) waited.push_back({output->descriptor(), POLLOUT, 0});
  }
  if (input != nullptr) waited.push_back({input->descriptor(), POLLIN, 0});
  const int ready = poll(waited.data(), waited.size(), static_cast<int>(maxWait.count()));
  if (ready > 0 && input != nullptr && waited.back().revents != 0) input->readSome();
  for (OutputBuffer* output : outputs) output->writeSome();
  loop.turn(std::chrono::milliseconds(0));
}

}  // namespace quarnex::tool
