#include "testing/program_host.h"

#include "testing/stage.h"

namespace quarnex::testkit {

ProgramThread::ProgramThread(std::function<void()> body)
    : thread_([this, body = std::move(body)] { run(body); }) {}

ProgramThread::~ProgramThread() {
  killed_ = true;
  while (!ended_) pass(true);
  thread_.join();
}

void ProgramThread::run(const std::function<void()>& body) {
  {
    std::unique_lock lock(mutex_);
    awaitTurn(lock, true);
  }
  try {
    if (!killed_) body();
  } catch (const ProgramKilled&) {
    // as planned
  } catch (...) {
    thrown_ = std::current_exception();
  }
  const std::unique_lock lock(mutex_);
  ended_ = true;
  programRuns_ = false;
  passed_.notify_all();
}

void ProgramThread::awaitTurn(std::unique_lock<std::mutex>& lock, bool ofProgram) {
  passed_.wait(lock, [&] { return programRuns_ == ofProgram; });
}

void ProgramThread::pass(bool toProgram) {
  std::unique_lock lock(mutex_);
  programRuns_ = toProgram;
  passed_.notify_all();
  awaitTurn(lock, !toProgram);
}

void ProgramThread::resume() {
  pass(true);
  if (thrown_ && !killed_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

bool ProgramThread::wait() {
  if (!killed_) pass(false);
  return !killed_;
}

void ProgramHost::create() {
  exitStatus_.reset();
  thread_ = std::make_unique<ProgramThread>([this] {
    adoptThread();
    exitStatus_ = program_();
  });
  afterTurn();
}

// The ticks come on the thread of the test.
void ProgramHost::afterTurn() {
  thread_->resume();
  adoptThread();
}

// Called on the thread of the program. While a killed program is unwound, its destructors may turn the loop.
bool ProgramHost::waitForTurn() {
  const bool goesOn = thread_->wait();
  adoptThread();
  if (!goesOn && std::uncaught_exceptions() == 0) throw ProgramKilled();
  return true;
}

}  // namespace quarnex::testkit
