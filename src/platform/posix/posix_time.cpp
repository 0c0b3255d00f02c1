#include "platform/posix/posix_time.h"

#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/error_numbers.h"

namespace quarnex {
namespace {

Descriptor makeTimer() {
  Descriptor timer(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (!timer.valid()) throw socketFailure(errno);
  return timer;
}

}  // namespace

PosixTimer::PosixTimer(Reactor& reactor)
    : reactor_(reactor), timer_(makeTimer()), key_(reactor.watch(timer_.get(), EPOLLIN, *this)) {}

PosixTimer::~PosixTimer() {
  reactor_.forget(key_);
}

void PosixTimer::setPeriod(std::int16_t milliseconds) {
  if (milliseconds < 0) throw Failure(5, "Invalid procedure call or argument");
  const timespec period{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
  const itimerspec setting{period, period};
  if (::timerfd_settime(timer_.get(), 0, &setting, nullptr) != 0) throw socketFailure(errno);
  period_ = milliseconds;
}

std::int64_t PosixTimer::untilTick() const {
  itimerspec left{};
  if (period_ == 0 || ::timerfd_gettime(timer_.get(), &left) != 0) return -1;
  return left.it_value.tv_sec * 1000 + (left.it_value.tv_nsec + 999'999) / 1'000'000;
}

// One read collects all periods that have passed, so a late loop gets one tick. After a new setting of the
// timer there may be nothing to read.
void PosixTimer::onReady(std::uint32_t) {
  std::uint64_t periods = 0;
  if (::read(timer_.get(), &periods, sizeof periods) != sizeof periods) return;
  reactor_.beginTick();
  if (events_ != nullptr) events_->onTick();
}

Moment PosixClock::moment() {
  timespec since{};
  ::clock_gettime(CLOCK_BOOTTIME, &since);
  return {systemSecond_(), since.tv_sec * 1000 + since.tv_nsec / 1'000'000};
}

std::int64_t secondOfSystem() {
  return ::time(nullptr);
}

// tzset(3) reads the zone again only where TZ or the file of the zone has changed.
std::int32_t PosixClock::utcOffset(Instant instant) {
  const std::int64_t second = forward_.systemSecond(instant);
  if (!known_ || second != offsetSecond_) {
    ::tzset();
    const time_t moment = second;
    tm local{};
    if (::localtime_r(&moment, &local) == nullptr) return 0;
    offsetSecond_ = second;
    offset_ = static_cast<std::int32_t>(local.tm_gmtoff);
    known_ = true;
  }
  return forward_.offsetOf(offset_);
}

}  // namespace quarnex
