// Owns one Windows socket and closes it.
#pragma once

#include <winsock2.h>

#include <utility>

namespace quarnex {

class SocketHandle {
 public:
  SocketHandle() = default;
  explicit SocketHandle(SOCKET socket) : socket_(socket) {}
  SocketHandle(SocketHandle&& other) noexcept : socket_(other.release()) {}
  SocketHandle& operator=(SocketHandle&& other) noexcept {
    std::swap(socket_, other.socket_);
    return *this;
  }
  ~SocketHandle() {
    if (valid()) ::closesocket(socket_);
  }

  bool valid() const { return socket_ != INVALID_SOCKET; }
  SOCKET get() const { return socket_; }
  SOCKET release() { return std::exchange(socket_, INVALID_SOCKET); }

 private:
  SOCKET socket_ = INVALID_SOCKET;
};

}  // namespace quarnex
