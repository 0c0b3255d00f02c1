// VirtualTime: a queue of tasks in virtual milliseconds. Time passes only from one task to the next.
#pragma once

#include <algorithm>
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <utility>

namespace quarnex::simulated {

using Milliseconds = std::int64_t;

constexpr Milliseconds kSecond = 1000;
constexpr Milliseconds kMinute = 60 * kSecond;
constexpr Milliseconds kHour = 60 * kMinute;
constexpr Milliseconds kDay = 24 * kHour;

/// A million tasks were due at the same time: they must be scheduling each other endlessly.
class TimeStandsStill : public std::logic_error {
 public:
  TimeStandsStill() : logic_error("virtual time stands still") {}
};

/// Tasks of the same millisecond run in the order in which they were scheduled. A task may run other tasks:
/// that is how one delivery nests in another.
class VirtualTime {
 public:
  /// Names one scheduled task, in the order in which tasks run. `cancel` accepts it even after the task has
  /// run.
  struct Appointment {
    Milliseconds when = 0;
    std::uint64_t order = 0;  // 0: none
    auto operator<=>(const Appointment&) const = default;
  };

  /// Since the beginning; never decreases.
  Milliseconds now() const { return now_; }

  /// Runs `task` at `when`, or as soon as possible if that is past.
  Appointment at(Milliseconds when, std::function<void()> task) {
    const Appointment appointment{std::max(when, now_), ++lastOrder_};
    tasks_.emplace(appointment, std::move(task));
    return appointment;
  }
  void cancel(Appointment appointment) { tasks_.erase(appointment); }

  /// Runs the next task if it is due at `latest` or before; false if there is none. Throws TimeStandsStill
  /// instead of running the millionth and first task of one millisecond.
  bool runNext(Milliseconds latest) {
    if (tasks_.empty() || tasks_.begin()->first.when > latest) return false;
    const auto next = tasks_.extract(tasks_.begin());
    tasksNow_ = next.key().when == now_ ? tasksNow_ + 1 : 1;
    now_ = next.key().when;
    if (tasksNow_ > kTasksAtOnceMax) throw TimeStandsStill();
    next.mapped()();
    return true;
  }
  /// Runs all tasks that are due at `latest` or before; then the time is `latest`.
  void runUntil(Milliseconds latest) {
    while (runNext(latest)) {
    }
    now_ = std::max(now_, latest);
  }

 private:
  static constexpr int kTasksAtOnceMax = 1'000'000;  // hosts with all possible links stay far below

  Milliseconds now_ = 0;
  int tasksNow_ = 0;  // that have run at this time
  std::uint64_t lastOrder_ = 0;
  std::map<Appointment, std::function<void()>> tasks_;
};

}  // namespace quarnex::simulated
