// Builds threads, locks and their clock on Windows, without the C++ library's own.
#include <process.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "services/threads.h"

namespace quarnex {

// The performance counter, in nanoseconds. Whole seconds come first, so that nothing overflows.
SteadyTime steadyNow() {
  constexpr LONGLONG kNanoseconds = 1'000'000'000;
  LARGE_INTEGER frequency{};
  LARGE_INTEGER count{};
  ::QueryPerformanceFrequency(&frequency);
  ::QueryPerformanceCounter(&count);
  const LONGLONG seconds = count.QuadPart / frequency.QuadPart;
  const LONGLONG rest = count.QuadPart % frequency.QuadPart;
  return SteadyTime(
      std::chrono::nanoseconds(seconds * kNanoseconds + rest * kNanoseconds / frequency.QuadPart));
}

struct Monitor::State {
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
};

Monitor::Monitor() : state_(std::make_unique<State>()) {}
Monitor::~Monitor() = default;

void Monitor::lock() {
  ::AcquireSRWLockExclusive(&state_->lock);
}

void Monitor::unlock() {
  ::ReleaseSRWLockExclusive(&state_->lock);
}

void Monitor::notifyAll() {
  ::WakeAllConditionVariable(&state_->changed);
}

void Monitor::pause() {
  ::SleepConditionVariableSRW(&state_->changed, &state_->lock, INFINITE, 0);
}

bool Monitor::pauseUntil(SteadyTime deadline) {
  constexpr std::chrono::milliseconds::rep kLongest = 1'000'000'000;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steadyNow()).count();
  if (left <= 0) return false;
  ::SleepConditionVariableSRW(&state_->changed, &state_->lock, static_cast<DWORD>(std::min(left, kLongest)),
                              0);
  return true;
}

struct QuietThread::State {
  HANDLE thread = nullptr;
};

namespace {

unsigned __stdcall runBody(void* body) {
  const std::unique_ptr<std::function<void()>> mine(static_cast<std::function<void()>*>(body));
  (*mine)();
  return 0;
}

}  // namespace

QuietThread::QuietThread(std::function<void()> body) : state_(std::make_unique<State>()) {
  auto mine = std::make_unique<std::function<void()>>(std::move(body));
  state_->thread = reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, runBody, mine.get(), 0, nullptr));
  if (state_->thread == nullptr) throw std::system_error(EAGAIN, std::generic_category());
  static_cast<void>(mine.release());
}

QuietThread::~QuietThread() {
  if (!state_ || state_->thread == nullptr) return;
  ::WaitForSingleObject(state_->thread, INFINITE);
  detach();
}

QuietThread::QuietThread(QuietThread&&) noexcept = default;

void QuietThread::detach() {
  ::CloseHandle(std::exchange(state_->thread, nullptr));
}

}  // namespace quarnex
