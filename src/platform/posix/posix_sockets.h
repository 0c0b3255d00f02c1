// PosixSockets: the socket service of this system, and what its instances share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>

#include "platform/posix/descriptor.h"
#include "platform/posix/reactor.h"
#include "services/socket_service.h"

namespace quarnex {

class PosixSockets final : public SocketService {
 public:
  /// `reactor` outlives the service, the service outlives its instances.
  explicit PosixSockets(Reactor& reactor);

  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;

  Reactor& reactor() { return reactor_; }

  /// Memory for one instance. All lie close together, since a tick looks at all of them.
  void* takeRoom();
  void giveBackRoom(void* room);

  /// An incoming connection and its caller's address.
  struct Caller {
    Descriptor connection;
    std::string host;
  };
  /// Holds `caller` ready for one `attach` and returns its handle.
  std::int32_t offer(Caller caller);
  /// Gives up the caller of that handle; failure 10038 if it is not the one on offer.
  Caller take(std::int32_t handle);
  /// Closes the caller that nobody took.
  void withdrawOffer() { offered_ = {}; }

  /// Receives at most 64 KiB for `instance` into the one buffer that all share. Returns what `recv` does.
  std::ptrdiff_t receive(const SocketInstance& instance, int descriptor);
  /// What the last `receive` took if it was for `instance`, "" otherwise.
  std::string_view received(const SocketInstance& instance) const;
  /// Receives and forgets. What `received` returns stays.
  std::ptrdiff_t discard(int descriptor);
  /// Forgets an instance that is about to go.
  void forget(const SocketInstance& instance);

 private:
  Reactor& reactor_;
  std::pmr::unsynchronized_pool_resource rooms_;
  Caller offered_;
  std::unique_ptr<char[]> buffer_;
  std::size_t size_ = 0;                      // bytes of the buffer that belong to `receiver_`
  const SocketInstance* receiver_ = nullptr;  // the instance that fetched last
};

}  // namespace quarnex
