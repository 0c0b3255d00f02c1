// VirtualTime: a queue of tasks in virtual milliseconds. Time passes only from one task to the next.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace quarnex::simulated {

using Milliseconds = std::int64_t;

constexpr Milliseconds kSecond = 1000;
constexpr Milliseconds kMinute = 60 * kSecond;
constexpr Milliseconds kHour = 60 * kMinute;
constexpr Milliseconds kDay = 24 * kHour;

/// A million tasks were due at the same time: they must be scheduling each other endlessly.
struct TimeStandsStill : std::logic_error {
  TimeStandsStill() : logic_error("virtual time stands still") {}
};

/// Tasks of the same millisecond run in the order in which they were scheduled. A task may run other tasks:
/// that is how one delivery nests in another.
class VirtualTime {
 public:
  /// Names one scheduled task. `cancel` accepts it even after the task has run.
  struct Appointment {
    std::uint32_t slot = 0;
    std::uint64_t order = 0;  // 0: none
  };

  /// Since the beginning; never decreases.
  Milliseconds now() const { return now_; }

  /// Runs `task` at `when`, or as soon as possible if that is past.
  Appointment at(Milliseconds when, std::function<void()> task) {
    const std::uint32_t slot = takeSlot();
    slots_[slot].task = std::move(task);
    slots_[slot].order = ++lastOrder_;
    heap_.push_back({std::max(when, now_), lastOrder_, slot});
    std::push_heap(heap_.begin(), heap_.end(), later);
    return {slot, lastOrder_};
  }
  void cancel(Appointment appointment) {
    if (appointment.order == 0 || slots_[appointment.slot].order != appointment.order) return;
    freeSlot(appointment.slot);
  }

  /// Runs the next task if it is due at `latest` or before; false if there is none. Throws TimeStandsStill
  /// instead of running the millionth and first task of one millisecond.
  bool runNext(Milliseconds latest) {
    while (!heap_.empty() && heap_.front().when <= latest) {
      const Entry next = heap_.front();
      std::pop_heap(heap_.begin(), heap_.end(), later);
      heap_.pop_back();
      if (slots_[next.slot].order != next.order) continue;
      const std::function<void()> task = std::move(slots_[next.slot].task);
      freeSlot(next.slot);
      tasksNow_ = next.when == now_ ? tasksNow_ + 1 : 1;
      now_ = next.when;
      if (tasksNow_ > kTasksAtOnceMax) throw TimeStandsStill();
      task();
      return true;
    }
    return false;
  }
  /// Runs all tasks that are due at `latest` or before; then the time is `latest`.
  void runUntil(Milliseconds latest) {
    while (runNext(latest)) {
    }
    now_ = std::max(now_, latest);
  }

 private:
  struct Entry {
    Milliseconds when;
    std::uint64_t order;
    std::uint32_t slot;
  };
  struct Slot {
    std::function<void()> task;
    std::uint64_t order = 0;  // of the task that it holds, 0 = free
  };

  static bool later(const Entry& left, const Entry& right) {
    return left.when != right.when ? left.when > right.when : left.order > right.order;
  }
  std::uint32_t takeSlot() {
    if (freeSlots_.empty()) {
      slots_.emplace_back();
      return static_cast<std::uint32_t>(slots_.size() - 1);
    }
    const std::uint32_t slot = freeSlots_.back();
    freeSlots_.pop_back();
    return slot;
  }
  void freeSlot(std::uint32_t slot) {
    slots_[slot].order = 0;
    slots_[slot].task = nullptr;
    freeSlots_.push_back(slot);
  }

  static constexpr int kTasksAtOnceMax = 1'000'000;  // hosts with all possible links stay far below

  Milliseconds now_ = 0;
  int tasksNow_ = 0;  // that have run at this time
  std::uint64_t lastOrder_ = 0;
  std::vector<Entry> heap_;  // the earliest first; an entry of a cancelled task stays until it is that
  std::vector<Slot> slots_;
  std::vector<std::uint32_t> freeSlots_;
};

}  // namespace quarnex::simulated
