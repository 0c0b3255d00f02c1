// Writes output with blocking calls on a thread.
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "quarn/output_writer.h"
#include "quarn/printable.h"
#include "quarn/streams.h"

namespace quarnex::tool {

struct OutputWriter::State {
  explicit State(int written) : descriptor(written), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~State() { close(wake); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void writeQueued();
  void writeOut(std::string_view bytes);
  // Returns the number of bytes written, at least 1, or a negative error number.
  ssize_t writeSome(std::string_view bytes) const;
  void count(ssize_t result);

  const int descriptor;
  const int wake;
  std::mutex mutex;
  std::condition_variable changed;
  std::string queued;                        // not yet taken by the thread
  std::size_t unwritten = 0;                 // those and the bytes that it has taken
  std::uint64_t appended = 0, accepted = 0;  // bytes in all
  std::uint64_t linesAppended = 0;
  std::deque<std::uint64_t> lineEnds;  // of the lines not yet written, in bytes appended
  int failure = 0;
  bool abandoned = false;  // the writer is gone
};

void OutputWriter::State::writeQueued() {
  std::unique_lock lock(mutex);
  while (!abandoned) {
    const std::string taken = std::exchange(queued, {});
    if (taken.empty()) {
      changed.wait(lock);
      continue;
    }
    lock.unlock();
    writeOut(taken);
    lock.lock();
  }
}

void OutputWriter::State::writeOut(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t result = writeSome(bytes);
    count(result);
    if (result < 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(result));
  }
}

// The descriptor may have been set to O_NONBLOCK by another process that shares it.
ssize_t OutputWriter::State::writeSome(std::string_view bytes) const {
  constexpr std::size_t kWriteBytesMax = std::size_t{64} * 1024;
  while (true) {
    const ssize_t wrote = write(descriptor, bytes.data(), std::min(bytes.size(), kWriteBytesMax));
    if (wrote > 0) return wrote;
    const int number = wrote == 0 ? EIO : errno;
    if (number != EINTR && number != EAGAIN) return -number;
    pollfd waited{descriptor, POLLOUT, 0};
    if (number == EAGAIN) poll(&waited, 1, -1);
  }
}

void OutputWriter::State::count(ssize_t result) {
  const std::lock_guard lock(mutex);
  if (result < 0) {
    failure = static_cast<int>(-result);
    queued.clear();
    unwritten = 0;
  } else {
    unwritten -= static_cast<std::size_t>(result);
    accepted += static_cast<std::uint64_t>(result);
    while (!lineEnds.empty() && lineEnds.front() <= accepted) lineEnds.pop_front();
  }
  changed.notify_all();
  constexpr std::uint64_t kOne = 1;
  if (unwritten == 0) static_cast<void>(!write(wake, &kOne, sizeof kOne));
}

namespace {

// Signals stay with the main thread, whose waits they interrupt.
template <class Run>
void startThread(Run run) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  try {
    std::thread(run).detach();
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

OutputWriter::OutputWriter(int descriptor)
    : state_(std::make_shared<State>(descriptor)), terminal_(isTerminal(descriptor)) {}

OutputWriter::~OutputWriter() {
  const std::lock_guard lock(state_->mutex);
  state_->abandoned = true;
  state_->changed.notify_all();
}

void OutputWriter::append(std::string_view bytes) {
  if (bytes.empty()) return;
  {
    const std::lock_guard lock(state_->mutex);
    if (state_->failure != 0) return;
    state_->queued += bytes;
    state_->unwritten += bytes.size();
    state_->appended += bytes.size();
    state_->changed.notify_all();
  }
  if (!std::exchange(started_, true)) startThread([state = state_] { state->writeQueued(); });
}

void OutputWriter::appendLine(const std::string& text) {
  const std::string line = (terminal_ ? printable(text) : text) + '\n';
  {
    const std::lock_guard lock(state_->mutex);
    ++state_->linesAppended;
    state_->lineEnds.push_back(state_->appended + line.size());
  }
  append(line);
}

std::uint64_t OutputWriter::linesAppended() const {
  const std::lock_guard lock(state_->mutex);
  return state_->linesAppended;
}

std::uint64_t OutputWriter::linesWritten() const {
  const std::lock_guard lock(state_->mutex);
  return state_->linesAppended - state_->lineEnds.size();
}

std::size_t OutputWriter::unwritten() const {
  const std::lock_guard lock(state_->mutex);
  return state_->unwritten;
}

void OutputWriter::flush(std::chrono::steady_clock::time_point deadline) const {
  std::unique_lock lock(state_->mutex);
  state_->changed.wait_until(lock, deadline, [this] { return state_->unwritten == 0; });
}

bool OutputWriter::broken() const {
  const std::lock_guard lock(state_->mutex);
  return state_->failure != 0;
}

std::string OutputWriter::error() const {
  const std::lock_guard lock(state_->mutex);
  return std::strerror(state_->failure);
}

int OutputWriter::wakeDescriptor() const {
  return state_->wake;
}

void OutputWriter::clearWake() {
  std::uint64_t count = 0;
  static_cast<void>(read(state_->wake, &count, sizeof count) > 0);
}

}  // namespace quarnex::tool
