#include "platform/simulated/virtual_time.h"

#include <algorithm>
#include <utility>

namespace quarnex::simulated {

constexpr int kTasksAtOnceMax = 1'000'000;  // hosts with all possible links stay far below

VirtualTime::Appointment VirtualTime::at(Milliseconds when, std::function<void()> task) {
  const std::uint32_t slot = takeSlot();
  slots_[slot].task = std::move(task);
  slots_[slot].order = ++lastOrder_;
  heap_.push_back({std::max(when, now_), lastOrder_, slot});
  std::push_heap(heap_.begin(), heap_.end(), later);
  return {slot, lastOrder_};
}

void VirtualTime::cancel(Appointment appointment) {
  if (appointment.order == 0 || slots_[appointment.slot].order != appointment.order) return;
  freeSlot(appointment.slot);
}

bool VirtualTime::runNext(Milliseconds latest) {
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

void VirtualTime::runUntil(Milliseconds latest) {
  while (runNext(latest)) {
  }
  now_ = std::max(now_, latest);
}

std::uint32_t VirtualTime::takeSlot() {
  if (freeSlots_.empty()) {
    slots_.emplace_back();
    return static_cast<std::uint32_t>(slots_.size() - 1);
  }
  const std::uint32_t slot = freeSlots_.back();
  freeSlots_.pop_back();
  return slot;
}

void VirtualTime::freeSlot(std::uint32_t slot) {
  slots_[slot].order = 0;
  slots_[slot].task = nullptr;
  freeSlots_.push_back(slot);
}

}  // namespace quarnex::simulated
