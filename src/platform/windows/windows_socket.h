// Implements one socket instance on a non-blocking Windows socket.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/windows/socket_calls.h"
#include "platform/windows/windows_loop.h"
#include "services/byte_queue.h"
#include "services/caller_filter.h"
#include "services/socket_service.h"

namespace quarnex {

class WindowsSockets;

/// Holds a socket from listen, connect or attach until the close. The system posts at most one message for
/// arrived data until the next fetch. Accepts dotted addresses only: connect and listen fail with 10049 for
/// any other host.
class WindowsSocket final : public SocketInstance, private SocketWatcher {
 public:
  WindowsSocket(WindowsSockets& sockets, SocketArray array, std::int16_t index, SocketEvents& events)
      : sockets_(sockets), events_(events), index_(index), array_(array) {}
  ~WindowsSocket() override;
  WindowsSocket(const WindowsSocket&) = delete;
  WindowsSocket& operator=(const WindowsSocket&) = delete;

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
  /// The present use, for tests that post messages of their own.
  WindowsLoop::Key use() const { return key_; }

 private:
  static constexpr std::uint64_t kNever = ~std::uint64_t{0};

  void onEvent(int event, int error) override;
  void onCheck() override;

  void startUse(SocketHandle socket, WindowsLoop::Key key, SocketState state);
  void requireIdle() const;
  void acceptCaller();
  void pauseUntilTick();
  SocketHandle acceptNext(std::string& host);
  void endCall(int error);
  void checkConnection();
  bool isReadBeforeCallers();
  void raiseClose(std::int16_t code);

  long interest() const;
  void reportAgain();
  std::size_t sendNow(std::string_view bytes);
  void sendUnsent();
  void markBroken(int systemError);

  std::int32_t state_ = kSocketClosed;
  bool hasBytesWaiting_ = false;
  bool ending_ = false;              // the connection has ended, but earlier bytes still wait to be fetched
  bool fetched_ = true;              // since `isReadBeforeCallers` was asked last
  std::uint8_t waits_ = 0;           // ticks for which callers of this listening instance have waited
  std::uint64_t pausedAt_ = kNever;  // tick in which the callers of this listening instance began to wait
  std::int16_t broken_ = 0;  // code of the close event still to come, after an operation failed; 0 = none
  WindowsSockets& sockets_;
  SocketEvents& events_;
  const std::int16_t index_;
  const SocketArray array_;
  bool localAddressValid_ = true;
  SocketHandle socket_;
  WindowsLoop::Key key_ = 0;  // of the current use; meaningless while closed
  ByteQueue unsent_;          // bytes that the system has not accepted yet
  in_addr localAddress_{};
  std::int32_t localPort_ = 0;
  std::int32_t remotePort_ = 0;
  std::string remoteHost_;
  std::unique_ptr<CallerFilter> callers_;  // nullptr = everybody may call
};

}  // namespace quarnex
