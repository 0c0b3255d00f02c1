#include "platform/posix/reactor.h"

#include <cerrno>
#include <utility>

#include "platform/posix/error_numbers.h"
#include "services/assertion.h"

namespace quarnex {
namespace {

Descriptor makeSet() {
  Descriptor set(::epoll_create1(EPOLL_CLOEXEC));
  if (!set.valid()) throw socketFailure(errno);
  return set;
}

int descriptorOf(Reactor::Key key) {
  return static_cast<int>(static_cast<std::uint32_t>(key));
}

// Any error but a signal is one for good: the host has closed the descriptor, for example to become a daemon.
std::size_t wait(const Descriptor& set, epoll_event* events, std::size_t room, int milliseconds) {
  const int count = ::epoll_wait(set.get(), events, static_cast<int>(room), milliseconds);
  if (count < 0 && errno != EINTR) throw socketFailure(errno);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

Reactor::Reactor() : main_(makeSet()), data_(makeSet()) {}

void Reactor::turn(int maxWait) {
  if (next_ == end_) {
    next_ = end_ = 0;
    end_ = wait(main_, ready_.data(), ready_.size(), maxWait);
  }
  while (next_ < end_) {
    const epoll_event event = ready_[next_++];
    if (holds(event.data.u64)) slots_[slotOf(event.data.u64)].watcher->onReady(event.events);
  }
}

Reactor::Key Reactor::watch(int descriptor, std::uint32_t events, Watcher& watcher) {
  const auto number = static_cast<std::uint32_t>(descriptor);
  if (slots_.size() <= number) slots_.resize(number + std::size_t{1});
  WatchSlot& slot = slots_[number];
  const Key key = Key{slot.use} << 32 | number;
  add(main_, events, key);
  slot.watcher = &watcher;
  return key;
}

Reactor::Key Reactor::watchConnection(int descriptor, std::uint32_t events, Watcher& watcher) {
  if (readable_.size() == connections_) readable_.resize(2 * connections_ + 1);
  const Key key = watch(descriptor, events, watcher);
  slots_[slotOf(key)].connection = true;
  ++connections_;
  try {
    add(data_, EPOLLIN | EPOLLRDHUP, key);
  } catch (const Failure&) {
    forget(key);
    throw;
  }
  return key;
}

void Reactor::add(const Descriptor& set, std::uint32_t events, Key key) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = key;
  if (::epoll_ctl(set.get(), EPOLL_CTL_ADD, descriptorOf(key), &event) != 0) throw socketFailure(errno);
}

void Reactor::change(Key key, std::uint32_t events) {
  QUARNEX_ASSERT(holds(key));
  epoll_event event{};
  event.events = events;
  event.data.u64 = key;
  ::epoll_ctl(main_.get(), EPOLL_CTL_MOD, descriptorOf(key), &event);
}

void Reactor::pauseUntilTick(Key key, std::uint32_t events) {
  paused_.push_back({key, events});
  change(key, 0);
}

// Closing the descriptor removes it from the sets only if no child process that the host has forked still
// holds it, so it is removed explicitly.
void Reactor::forget(Key key) {
  QUARNEX_ASSERT(holds(key));
  WatchSlot& slot = slots_[slotOf(key)];
  ::epoll_ctl(main_.get(), EPOLL_CTL_DEL, descriptorOf(key), nullptr);
  if (slot.connection) {
    ::epoll_ctl(data_.get(), EPOLL_CTL_DEL, descriptorOf(key), nullptr);
    --connections_;
  }
  slot = WatchSlot{nullptr, slot.use + 1, false};
}

// A host that has closed the descriptor of a set may have opened a set of its own with that number, whose
// events carry any keys.
bool Reactor::holds(Key key) const {
  if (slotOf(key) >= slots_.size()) return false;
  const WatchSlot& slot = slots_[slotOf(key)];
  return slot.watcher != nullptr && slot.use == key >> 32;
}

void Reactor::beginTick() {
  for (const Paused& paused : std::exchange(paused_, {})) {
    if (holds(paused.key)) change(paused.key, paused.events);
  }
  if (connections_ == 0) return;
  const std::size_t count = wait(data_, readable_.data(), readable_.size(), 0);
  for (std::size_t i = 0; i < count; ++i) {
    const epoll_event& event = readable_[i];
    if (holds(event.data.u64)) slots_[slotOf(event.data.u64)].watcher->onReadable(event.events);
  }
}

}  // namespace quarnex
