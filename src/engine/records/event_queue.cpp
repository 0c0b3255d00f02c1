#include "engine/records/event_queue.h"

#include <exception>
#include <iterator>
#include <utility>

namespace quarnex {
namespace {

constexpr const char* kNames[] = {"connected",     "heard",           "disconnected",   "attempt-failed",
                                  "not-answering", "answering-again", "failure",        "failure-over",
                                  "closing",       "closed",          "texts-received", "received-dropped",
                                  "receipts",      "drained",         "clock-stepped",  "host-stood-still",
                                  "lost"};
static_assert(std::size(kNames) == kEventTypeCount);

}  // namespace

const char* nameOf(EventType type) {
  return kNames[static_cast<std::size_t>(type)];
}

std::uint64_t EventQueue::add(LinkEvent&& event) {
  while (events_.size() >= limit_) {
    lose(events_.front());
    events_.pop_front();
    ++taken_;
  }
  events_.push_back(std::move(event));
  return taken_ + events_.size();
}

LinkEvent* EventQueue::find(std::uint64_t serial) {
  const bool waits = serial > taken_ && serial <= taken_ + events_.size();
  return waits ? &events_[static_cast<std::size_t>(serial - taken_ - 1)] : nullptr;
}

std::optional<LinkEvent> EventQueue::take() {
  if (lost_) return std::exchange(lost_, std::nullopt);
  if (events_.empty()) return std::nullopt;
  std::optional<LinkEvent> oldest(std::move(events_.front()));
  events_.pop_front();
  ++taken_;
  return oldest;
}

void EventQueue::lose(const LinkEvent& event) {
  if (!lost_) {
    lost_.emplace();
    lost_->type = EventType::Lost;
    lost_->lost.from = event.at;
    lost_->lost.events.resize(kEventTypeCount);
  }
  lost_->at = lost_->lost.to = event.at;
  lost_->milliseconds = event.milliseconds;
  ++lost_->lost.events[static_cast<std::size_t>(event.type)];
  if (event.type != EventType::Receipts) return;
  lost_->lost.texts[static_cast<std::size_t>(event.receipt.outcome)] +=
      event.receipt.to - event.receipt.from + 1;
}

}  // namespace quarnex
