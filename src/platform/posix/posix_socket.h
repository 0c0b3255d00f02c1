// Implements one socket instance on a non-blocking TCP socket.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/descriptor.h"
#include "platform/posix/reactor.h"
#include "services/byte_queue.h"
#include "services/caller_filter.h"
#include "services/socket_service.h"

namespace quarnex {

class PosixSockets;

/// Holds a descriptor from listen, connect or attach until the close. An idle instance costs its own size and
/// a slot of the reactor; it takes memory for output only while the system's send buffer is full. Accepts
/// dotted addresses only: connect and listen fail with 10049 for any other host.
class PosixSocket final : public SocketInstance, private Watcher {
 public:
  PosixSocket(PosixSockets& sockets, SocketArray array, std::int16_t index, SocketEvents& events)
      : sockets_(sockets), events_(events), index_(index), array_(array) {}
  ~PosixSocket() override;
  PosixSocket(const PosixSocket&) = delete;
  PosixSocket& operator=(const PosixSocket&) = delete;

  std::int32_t state() override { return state_; }
  std::string statusText() override { return std::string(statusTextOf(state_)); }

  std::int32_t localPort() override { return localPort_; }
  void setLocalPort(std::int32_t port) override { localPort_ = port; }
  std::int32_t remotePort() override { return remotePort_; }
  void setRemotePort(std::int32_t port) override { remotePort_ = port; }
  void setLocalAddress(std::string_view dotted) override;
  std::string remoteHost() override { return remoteHost_; }
  void setRemoteHost(std::string_view dotted) override { remoteHost_ = dotted; }

  void close() override;
  void prepareA() override {}
  void prepareB() override {}
  void connect() override;
  void listen() override;
  void attach(std::int32_t handle) override;

  std::int32_t bytesWaiting() override { return hasBytesWaiting_ ? 1 : 0; }
  void fetch() override;
  std::string_view receivedText() override;
  void send(std::string_view bytes) override;
  std::size_t unsentBytes() const override { return unsent_.size(); }
  void listenOn(std::string_view dotted) override { setLocalAddress(dotted); }
  void allowCallers(const std::vector<std::string>& dotted) override;
  std::uint64_t refusedCallers() const override { return callers_ ? callers_->refused() : 0; }
  std::string peer() const override;
  void hangUp() override;

  SocketArray array() const { return array_; }
  std::int16_t index() const { return index_; }

 private:
  void onReady(std::uint32_t events) override;
  void onReadable(std::uint32_t events) override;

  void startUse(Descriptor descriptor, Reactor::Key key, SocketState state);
  void requireIdle() const;
  void acceptCallers();
  void endCall();
  void checkForEnd(std::uint32_t events);
  bool isReadToItsEnd();
  void raiseClose(std::int16_t code);

  std::uint32_t interest() const;
  void reportAgain();
  std::size_t sendNow(std::string_view bytes);
  void sendUnsent();
  void markBroken(int systemError);
  void discardUnread();

  // The members that a quiet tick reads come first, in one cache line.
  std::int32_t state_ = kSocketClosed;
  bool hasBytesWaiting_ = false;
  bool ending_ = false;      // the peer has closed, but earlier bytes still wait to be fetched
  bool fetched_ = true;      // since `isReadToItsEnd` was asked last
  std::uint8_t waits_ = 0;   // ticks for which callers of this listening instance have waited
  std::int16_t broken_ = 0;  // code of the close event still to come, after an operation failed; 0 = none
  PosixSockets& sockets_;
  SocketEvents& events_;
  const std::int16_t index_;
  const SocketArray array_;
  bool localAddressValid_ = true;
  Descriptor descriptor_;
  Reactor::Key key_ = 0;  // of the current use; meaningless while closed
  ByteQueue unsent_;      // bytes that the system has not accepted yet
  in_addr localAddress_{INADDR_ANY};
  std::int32_t localPort_ = 0;
  std::int32_t remotePort_ = 0;
  std::string remoteHost_;
  std::unique_ptr<CallerFilter> callers_;  // nullptr = everybody may call
};

static_assert(sizeof(PosixSocket) <= 128, "ten thousand idle instances must stay small");

}  // namespace quarnex
