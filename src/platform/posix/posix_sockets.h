// Creates socket instances and owns the resources that they share: the receive buffer, and the incoming call
// that waits for its attach.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/descriptor.h"
#include "platform/posix/reactor.h"
#include "services/output_budget.h"
#include "services/socket_service.h"

namespace quarnex {

class PosixSocket;

class PosixSockets final : public SocketService {
 public:
  /// `reactor` outlives the service, the service outlives its instances.
  explicit PosixSockets(Reactor& reactor);

  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;

  void limitOutput(std::size_t each, std::size_t all) override { output_.limit(each, all); }

  Reactor& reactor() { return reactor_; }
  /// Failure 10055 if an instance that holds `mine` unsent bytes cannot hold `more`.
  void requireRoom(std::size_t mine, std::size_t more) const { output_.require(mine, more, unsent_); }
  /// Counts unsent bytes that have left an instance or come to it.
  void noteUnsent(std::size_t gone, std::size_t come) { unsent_ += come - gone; }
  /// The instance that takes the callers of listening instance `index`, or nullptr.
  PosixSocket* acceptedBy(std::int16_t index) const;

  /// An incoming connection and its caller's address.
  struct Caller {
    Descriptor connection;
    std::string host;
  };
  /// Keeps `caller` for one `attach` and returns its handle.
  std::int32_t offer(Caller caller);
  /// Returns the caller with that handle and forgets it; failure 10038 for any other handle.
  Caller take(std::int32_t handle);
  /// Closes the caller if nobody has taken it.
  void withdrawOffer() { offered_ = {}; }

  /// Receives at most `kFetchBytesMax` bytes for `instance` into the shared buffer; returns like `recv`.
  std::ptrdiff_t receive(const SocketInstance& instance, int descriptor);
  /// Returns the bytes of the last `receive` if it was for `instance`, otherwise "".
  std::string_view received(const SocketInstance& instance) const;
  /// Receives at most `kFetchBytesMax` bytes and drops them; `received` stays. Returns like `recv`.
  std::ptrdiff_t discard(int descriptor);
  /// Forgets an instance that is being destroyed.
  void forget(const PosixSocket& instance);

 private:
  Reactor& reactor_;
  Caller offered_;
  std::unique_ptr<char[]> buffer_;
  std::size_t size_ = 0;                      // bytes of the buffer that belong to `receiver_`
  const SocketInstance* receiver_ = nullptr;  // the instance that fetched last
  OutputBudget output_;
  std::size_t unsent_ = 0;              // bytes that all instances hold
  std::vector<PosixSocket*> accepted_;  // element k of SrvAccept at k - 1; nullptr = none
};

}  // namespace quarnex
