// Creates socket instances on a Windows loop and owns the resources that they share: the receive buffer, and
// the incoming call that waits for its attach.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/windows/socket_handle.h"
#include "platform/windows/windows_loop.h"
#include "services/output_budget.h"
#include "services/socket_service.h"

namespace quarnex {

class WindowsSocket;

class WindowsSockets final : public SocketService {
 public:
  /// `loop` outlives the service, the service outlives its instances.
  explicit WindowsSockets(WindowsLoop& loop)
      : loop_(loop), buffer_(std::make_unique<char[]>(kFetchBytesMax)) {}

  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;
  void limitOutput(std::size_t each, std::size_t all) override { output_.limit(each, all); }

  WindowsLoop& loop() { return loop_; }
  /// Failure 10055 if an instance that holds `mine` unsent bytes cannot hold `more`.
  void requireRoom(std::size_t mine, std::size_t more) const { output_.require(mine, more, unsent_); }
  /// Counts unsent bytes that have left an instance or come to it.
  void noteUnsent(std::size_t gone, std::size_t come) { unsent_ += come - gone; }
  /// The instance that takes the callers of listening instance `index`, or nullptr.
  WindowsSocket* acceptedBy(std::int16_t index) const;

  /// An incoming connection and its caller's address.
  struct IncomingCall {
    SocketHandle connection;
    std::string host;
  };
  /// Keeps `call` for one `attach` and returns its handle.
  std::int32_t offer(IncomingCall call);
  /// Returns the call with that handle and forgets it; failure 10038 for any other handle.
  IncomingCall take(std::int32_t handle);
  /// Closes the call if nobody has taken it.
  void withdrawOffer() { offered_ = {}; }

  /// Receives at most `kFetchBytesMax` bytes for `instance` into the shared buffer; returns like `recv`.
  int receive(const SocketInstance& instance, SOCKET socket);
  /// Returns the bytes of the last `receive` if it was for `instance`, otherwise "".
  std::string_view received(const SocketInstance& instance) const;
  /// Forgets an instance that is being destroyed.
  void forget(const WindowsSocket& instance);

 private:
  WindowsLoop& loop_;
  IncomingCall offered_;
  std::unique_ptr<char[]> buffer_;
  std::size_t size_ = 0;                      // bytes of the buffer that belong to `receiver_`
  const SocketInstance* receiver_ = nullptr;  // the instance that fetched last
  OutputBudget output_;
  std::size_t unsent_ = 0;                                     // bytes that all instances hold
  std::unordered_map<std::int16_t, WindowsSocket*> accepted_;  // the elements of SrvAccept
};

}  // namespace quarnex
