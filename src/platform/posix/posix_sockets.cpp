#include "platform/posix/posix_sockets.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "platform/posix/error_numbers.h"
#include "platform/posix/posix_socket.h"

namespace quarnex {

PosixSockets::PosixSockets(Reactor& reactor)
    : reactor_(reactor), buffer_(std::make_unique<char[]>(kFetchBytesMax)) {}

std::unique_ptr<SocketInstance> PosixSockets::create(SocketArray array, std::int16_t index,
                                                     SocketEvents& events) {
  auto instance = std::make_unique<PosixSocket>(*this, array, index, events);
  if (array == SocketArray::SrvAccept) {
    const auto place = static_cast<std::size_t>(index - 1);
    if (accepted_.size() <= place) accepted_.resize(place + 1);
    accepted_[place] = instance.get();
  }
  return instance;
}

PosixSocket* PosixSockets::acceptedBy(std::int16_t index) const {
  const auto place = static_cast<std::size_t>(index - 1);
  return place < accepted_.size() ? accepted_[place] : nullptr;
}

std::int32_t PosixSockets::offer(Caller caller) {
  offered_ = std::move(caller);
  return offered_.connection.get();
}

PosixSockets::Caller PosixSockets::take(std::int32_t handle) {
  if (!offered_.connection.valid() || handle != offered_.connection.get()) throw socketFailure(ENOTSOCK);
  return std::exchange(offered_, {});
}

std::ptrdiff_t PosixSockets::receive(const SocketInstance& instance, int descriptor) {
  const std::ptrdiff_t count = ::recv(descriptor, buffer_.get(), kFetchBytesMax, MSG_DONTWAIT);
  receiver_ = &instance;
  size_ = count > 0 ? static_cast<std::size_t>(count) : 0;
  return count;
}

std::string_view PosixSockets::received(const SocketInstance& instance) const {
  return receiver_ == &instance ? std::string_view(buffer_.get(), size_) : std::string_view();
}

// With MSG_TRUNC, TCP drops the bytes instead of copying them.
std::ptrdiff_t PosixSockets::discard(int descriptor) {
  return ::recv(descriptor, buffer_.get(), kFetchBytesMax, MSG_DONTWAIT | MSG_TRUNC);
}

void PosixSockets::forget(const PosixSocket& instance) {
  if (receiver_ == &instance) receiver_ = nullptr;
  if (instance.array() != SocketArray::SrvAccept) return;
  PosixSocket*& accepted = accepted_[static_cast<std::size_t>(instance.index() - 1)];
  if (accepted == &instance) accepted = nullptr;
}

}  // namespace quarnex
