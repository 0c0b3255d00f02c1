#include "services/background_writer.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <utility>

namespace quarnex {
struct BackgroundWriter::Shared {
  Shared(std::unique_ptr<Storage> storage, WriterPlan how)
      : plan(std::move(how)), file(std::move(storage)), marked(*file, plan.mark) {}

  void run();
  void writeOut();
  bool beginNextFile();

  // Call these under the lock.
  bool isUrgent() const { return waiting.lines.size() > plan.waitingBytesMax / 2; }
  bool isWritten() const { return waiting.empty() && writing.empty(); }

  const WriterPlan plan;
  std::unique_ptr<Storage> file;  // used by the thread alone, like the next member
  MarkedStorage marked;

  Monitor monitor;  // guards the members below
  Backlog waiting;
  Backlog writing;  // changed by the thread alone, and constant while it writes
  WriteLosses losses;
  int flushes = 0;  // that wait now
  bool ending = false;
  SteadyTime endBy;
  bool full = false;
  bool closed = false;  // the last use of this by the thread
};

BackgroundWriter::BackgroundWriter(std::unique_ptr<Storage> file, WriterPlan plan)
    : shared_(std::make_shared<Shared>(std::move(file), std::move(plan))),
      thread_([shared = shared_] { shared->run(); }) {}

BackgroundWriter::~BackgroundWriter() {
  end();
  const std::lock_guard lock(shared_->monitor);
  const bool closed =
      shared_->monitor.waitUntil(hanging_ ? SteadyTime() : shared_->endBy, [&] { return shared_->closed; });
  if (!closed) thread_.detach();
}

void BackgroundWriter::write(std::string_view lines) {
  bool worthWaking = false;
  {
    const std::lock_guard lock(shared_->monitor);
    if (shared_->full) return;
    worthWaking = shared_->waiting.empty() || shared_->isUrgent();
    shared_->waiting.add(lines, shared_->plan.waitingBytesMax);
  }
  if (worthWaking) shared_->monitor.notifyAll();
}

bool BackgroundWriter::flush(std::chrono::milliseconds maxWait) {
  const std::lock_guard lock(shared_->monitor);
  ++shared_->flushes;
  shared_->monitor.notifyAll();
  auto deadline = steadyNow() + maxWait;
  if (shared_->ending) deadline = std::min(deadline, shared_->endBy);
  hanging_ = !shared_->monitor.waitUntil(deadline, [&] { return shared_->isWritten(); });
  --shared_->flushes;
  return !hanging_;
}

void BackgroundWriter::end() {
  {
    const std::lock_guard lock(shared_->monitor);
    if (shared_->ending) return;
    shared_->ending = true;
    shared_->endBy = steadyNow() + kHangingDiskPatience;
  }
  shared_->monitor.notifyAll();
}

WriteLosses BackgroundWriter::losses() const {
  const std::lock_guard lock(shared_->monitor);
  WriteLosses losses = shared_->losses;
  if (!hanging_) return losses;
  for (const Backlog* backlog : {&shared_->writing, &shared_->waiting}) {
    losses.add(backlog->lines);
    losses += backlog->dropped;
  }
  return losses;
}

bool BackgroundWriter::full() const {
  const std::lock_guard lock(shared_->monitor);
  return shared_->full;
}

void BackgroundWriter::Shared::run() {
  std::unique_lock lock(monitor);
  while (!ending || !waiting.empty()) {
    monitor.wait([this] { return ending || !waiting.empty(); });
    std::swap(writing, waiting);
    lock.unlock();
    writeOut();
    lock.lock();
    losses = marked.losses();
    writing.lines.clear();
    writing.dropped = {};
    monitor.notifyAll();
    monitor.waitUntil(steadyNow() + plan.pause, [this] { return ending || flushes > 0 || isUrgent(); });
  }
  lock.unlock();
  file.reset();
  lock.lock();
  closed = true;
  monitor.notifyAll();
}

void BackgroundWriter::Shared::writeOut() {
  const std::size_t bytes = writing.lines.size() + plan.lastLine.size();
  if (file->fileBytes() + bytes > plan.fileBytesMax && !beginNextFile()) return;
  marked.write(writing);
  marked.finish();
}

// False if there is no next file.
bool BackgroundWriter::Shared::beginNextFile() {
  if (full) return false;
  if (plan.nextFile) {
    if (auto next = plan.nextFile()) {
      marked.moveTo(*next);
      file = std::move(next);
    }
    return true;
  }
  const std::uintmax_t reserved = file->fileBytes() + plan.lastLine.size();
  const std::uintmax_t room = plan.fileBytesMax > reserved ? plan.fileBytesMax - reserved : 0;
  const std::size_t fitting = static_cast<std::size_t>(std::min<std::uintmax_t>(room, writing.lines.size()));
  const std::size_t lines = writing.lines.substr(0, fitting).rfind('\n') + 1;
  marked.write({writing.lines.substr(0, lines) + plan.lastLine, {}});
  marked.finish();
  const std::lock_guard lock(monitor);
  full = true;
  return false;
}

void printLosses(const char* file, const WriteLosses& losses, std::uint64_t toldBytes) {
  if (losses.bytes <= toldBytes) return;
  std::fprintf(stderr, "quarnex: %llu lines (%llu bytes) are missing in the %s\n",
               static_cast<unsigned long long>(losses.lines), static_cast<unsigned long long>(losses.bytes),
               file);
}

}  // namespace quarnex
