// Builds threads, locks and their clock on the standard library.
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>
#include <utility>

#include "services/threads.h"

namespace quarnex {

SteadyTime steadyNow() {
  return std::chrono::steady_clock::now();
}

struct Monitor::State {
  std::mutex mutex;
  std::condition_variable changed;
};

Monitor::Monitor() : state_(std::make_unique<State>()) {}
Monitor::~Monitor() = default;

void Monitor::lock() {
  state_->mutex.lock();
}

void Monitor::unlock() {
  state_->mutex.unlock();
}

void Monitor::notifyAll() {
  state_->changed.notify_all();
}

void Monitor::pause() {
  std::unique_lock held(state_->mutex, std::adopt_lock);
  state_->changed.wait(held);
  held.release();
}

bool Monitor::pauseUntil(SteadyTime deadline) {
  std::unique_lock held(state_->mutex, std::adopt_lock);
  const auto woken = state_->changed.wait_until(held, deadline);
  held.release();
  return woken == std::cv_status::no_timeout;
}

struct QuietThread::State {
  std::thread thread;
};

// A new thread inherits the signal mask of the thread that starts it (pthread_create(3)).
QuietThread::QuietThread(std::function<void()> body) : state_(std::make_unique<State>()) {
  sigset_t all{};
  sigset_t before{};
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    state_->thread = std::thread(std::move(body));
  } catch (...) {
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

QuietThread::~QuietThread() {
  if (state_ && state_->thread.joinable()) state_->thread.join();
}

QuietThread::QuietThread(QuietThread&&) noexcept = default;

void QuietThread::detach() {
  state_->thread.detach();
}

}  // namespace quarnex
