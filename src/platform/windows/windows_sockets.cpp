#include "platform/windows/windows_sockets.h"

#include <utility>

#include "platform/windows/windows_errors.h"
#include "platform/windows/windows_socket.h"

namespace quarnex {
namespace {

std::int32_t handleOf(const SocketHandle& connection) {
  return static_cast<std::int32_t>(connection.get());
}

}  // namespace

std::unique_ptr<SocketInstance> WindowsSockets::create(SocketArray array, std::int16_t index,
                                                       SocketEvents& events) {
  auto instance = std::make_unique<WindowsSocket>(*this, array, index, events);
  if (array == SocketArray::SrvAccept) accepted_[index] = instance.get();
  return instance;
}

WindowsSocket* WindowsSockets::acceptedBy(std::int16_t index) const {
  const auto found = accepted_.find(index);
  return found == accepted_.end() ? nullptr : found->second;
}

std::int32_t WindowsSockets::offer(IncomingCall call) {
  offered_ = std::move(call);
  return handleOf(offered_.connection);
}

WindowsSockets::IncomingCall WindowsSockets::take(std::int32_t handle) {
  if (!offered_.connection.valid() || handle != handleOf(offered_.connection))
    throw socketFailure(WSAENOTSOCK);
  return std::exchange(offered_, {});
}

int WindowsSockets::receive(const SocketInstance& instance, SOCKET socket) {
  const int count = ::recv(socket, buffer_.get(), static_cast<int>(kFetchBytesMax), 0);
  receiver_ = &instance;
  size_ = count > 0 ? static_cast<std::size_t>(count) : 0;
  return count;
}

std::string_view WindowsSockets::received(const SocketInstance& instance) const {
  return receiver_ == &instance ? std::string_view(buffer_.get(), size_) : std::string_view();
}

void WindowsSockets::forget(const WindowsSocket& instance) {
  if (receiver_ == &instance) receiver_ = nullptr;
  if (instance.array() == SocketArray::SrvAccept && acceptedBy(instance.index()) == &instance)
    accepted_.erase(instance.index());
}

}  // namespace quarnex
