#include "quarn/output_writer.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>

#include "quarn/output_device.h"
#include "quarn/printable.h"
#include "quarn/streams.h"
#include "services/threads.h"

namespace quarnex::tool {

struct OutputWriter::State {
  explicit State(int written) : descriptor(written) {}

  void writeQueued();
  void writeOut(std::string_view bytes);
  void count(std::ptrdiff_t result);

  const int descriptor;
  const LoopWake wake;
  Monitor monitor;                           // guards the members below
  std::string queued;                        // not yet taken by the thread
  std::size_t unwritten = 0;                 // those and the bytes that it has taken
  std::uint64_t appended = 0, accepted = 0;  // bytes in all
  std::uint64_t linesAppended = 0;
  std::deque<std::uint64_t> lineEnds;  // of the lines not yet written, in bytes appended
  int failure = 0;
  bool abandoned = false;  // the writer is gone
};

void OutputWriter::State::writeQueued() {
  std::unique_lock lock(monitor);
  while (!abandoned) {
    const std::string taken = std::exchange(queued, {});
    if (taken.empty()) {
      monitor.wait([this] { return abandoned || !queued.empty(); });
      continue;
    }
    lock.unlock();
    writeOut(taken);
    lock.lock();
  }
}

void OutputWriter::State::writeOut(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::ptrdiff_t result = writeSome(descriptor, bytes);
    count(result);
    if (result < 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(result));
  }
}

void OutputWriter::State::count(std::ptrdiff_t result) {
  const std::lock_guard lock(monitor);
  if (result < 0) {
    failure = static_cast<int>(-result);
    queued.clear();
    unwritten = 0;
  } else {
    unwritten -= static_cast<std::size_t>(result);
    accepted += static_cast<std::uint64_t>(result);
    while (!lineEnds.empty() && lineEnds.front() <= accepted) lineEnds.pop_front();
  }
  monitor.notifyAll();
  if (unwritten == 0) wake.signal();
}

OutputWriter::OutputWriter(int descriptor)
    : state_(std::make_shared<State>(descriptor)), terminal_(isTerminal(descriptor)) {}

OutputWriter::~OutputWriter() {
  const std::lock_guard lock(state_->monitor);
  state_->abandoned = true;
  state_->monitor.notifyAll();
}

void OutputWriter::append(std::string_view bytes) {
  if (bytes.empty()) return;
  {
    const std::lock_guard lock(state_->monitor);
    if (state_->failure != 0) return;
    state_->queued += bytes;
    state_->unwritten += bytes.size();
    state_->appended += bytes.size();
    state_->monitor.notifyAll();
  }
  if (!std::exchange(started_, true)) QuietThread([state = state_] { state->writeQueued(); }).detach();
}

void OutputWriter::appendLine(const std::string& text) {
  const std::string line = (terminal_ ? printable(text) : text) + '\n';
  {
    const std::lock_guard lock(state_->monitor);
    ++state_->linesAppended;
    state_->lineEnds.push_back(state_->appended + line.size());
  }
  append(line);
}

std::uint64_t OutputWriter::linesAppended() const {
  const std::lock_guard lock(state_->monitor);
  return state_->linesAppended;
}

std::uint64_t OutputWriter::linesWritten() const {
  const std::lock_guard lock(state_->monitor);
  return state_->linesAppended - state_->lineEnds.size();
}

std::size_t OutputWriter::unwritten() const {
  const std::lock_guard lock(state_->monitor);
  return state_->unwritten;
}

void OutputWriter::flush(std::chrono::steady_clock::time_point deadline) const {
  const std::lock_guard lock(state_->monitor);
  state_->monitor.waitUntil(deadline, [this] { return state_->unwritten == 0; });
}

bool OutputWriter::broken() const {
  const std::lock_guard lock(state_->monitor);
  return state_->failure != 0;
}

std::string OutputWriter::error() const {
  const std::lock_guard lock(state_->monitor);
  return std::strerror(state_->failure);
}

const LoopWake& OutputWriter::wake() const {
  return state_->wake;
}

}  // namespace quarnex::tool
