// The socket control as the engine sees it: instances in three control arrays, their operations and their
// events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quarnex {

/// The three control arrays. Element k of ClientSocket belongs to the client link with `IdxClient` k, element
/// k of ServerSocket (listening) and of SrvAccept (accepted call) to the server link with `IdxServer` k.
enum class SocketArray : std::uint8_t { ClientSocket, ServerSocket, SrvAccept };

constexpr std::string_view nameOf(SocketArray array) {
  constexpr std::string_view names[] = {"ClientSocket", "ServerSocket", "SrvAccept"};
  return names[static_cast<std::size_t>(array)];
}

/// The range of TCP ports is 1 to this.
constexpr std::int32_t kPortMax = 65535;
/// Bytes that one fetch takes.
constexpr std::size_t kFetchBytesMax = std::size_t{64} * 1024;

/// What `SocketInstance::state` reads. Callers may meet other values from other adapters; the link states
/// only tell 0 and 1 (idle) from everything else.
enum SocketState : std::int32_t {
  kSocketClosed = 0,
  kSocketListening = 2,
  kSocketCalling = 3,
  kSocketConnected = 4
};

/// The status text of a state; of any other number that of state 0.
constexpr std::string_view statusTextOf(std::int32_t state) {
  switch (state) {
    case kSocketListening:
      return "Listening";
    case kSocketCalling:
      return "Calling";
    case kSocketConnected:
      return "Connected";
    default:
      return "Closed";
  }
}

/// One socket. Every operation may throw `Failure` with a Windows Sockets number; it returns at once and
/// never waits for the network. An adapter may deliver events of any instance, or ticks, before an operation
/// returns.
class SocketInstance {
 public:
  virtual ~SocketInstance() = default;

  /// 0 closed, 2 listening, 3 calling, 4 connected. Reads 0 inside the close event and inside a failed
  /// connect event.
  virtual std::int32_t state() = 0;
  /// "Closed", "Listening", "Calling" or "Connected".
  virtual std::string statusText() = 0;

  /// Ports and hosts read as last set (0 and "" before); `attach` sets the remote host to the caller's
  /// address, and a close keeps it. A port outside 1 to `kPortMax` makes the later listen or connect fail
  /// with 10049.
  virtual std::int32_t localPort() = 0;
  virtual void setLocalPort(std::int32_t port) = 0;
  virtual std::int32_t remotePort() = 0;
  virtual void setRemotePort(std::int32_t port) = 0;
  virtual void setLocalAddress(std::string_view dotted) = 0;
  virtual std::string remoteHost() = 0;
  virtual void setRemoteHost(std::string_view dotted) = 0;

  /// Ends the present use, if any: no event of it is delivered afterwards, none is raised for it. Closing a
  /// closed instance succeeds.
  virtual void close() = 0;
  /// The preparation calls before listen (A) and before connect (A, then B). Adapters that open a fresh
  /// socket on listen and connect have nothing to do in them.
  virtual void prepareA() = 0;
  virtual void prepareB() = 0;
  /// Starts a call to the remote host and port; its outcome comes as a connect event, never inside this call.
  virtual void connect() = 0;
  /// Listens on the local port; each caller raises an accept event, never inside this call. On an instance
  /// that listens already it succeeds and changes nothing.
  virtual void listen() = 0;
  /// Takes over the incoming connection of an accept event. What the instance carried before is closed
  /// without an event.
  virtual void attach(std::int32_t handle) = 0;

  /// Bytes received and not yet fetched; an adapter may report any number from 1 to the true one while some
  /// wait.
  virtual std::int32_t bytesWaiting() = 0;
  /// Takes waiting bytes, at most `kFetchBytesMax`, into the received text. The rest waits in the system's
  /// buffers.
  virtual void fetch() = 0;
  /// What the last fetch of this instance took; "" if it failed. Valid until the next fetch on any instance.
  virtual std::string_view receivedText() = 0;

  /// Takes `bytes` (any values, any length) and returns at once; they leave in order as the system drains.
  /// Failure 10057 if the instance carries no connection. The caller's buffer is free on return.
  virtual void send(std::string_view bytes) = 0;
};

/// Receiver of the socket events. Codes are Windows Sockets numbers, 0 for success. Called on the library's
/// thread only. An event for an index that was never created is ignored.
class SocketEvents {
 public:
  virtual ~SocketEvents() = default;
  /// A call that `connect` started has ended.
  virtual void onConnect(SocketArray array, std::int16_t index, std::int16_t code) = 0;
  /// The connection, or the listening socket, has been closed by the peer or the system: with code 0 after
  /// every byte before it has been fetched, with another code at once.
  virtual void onClose(SocketArray array, std::int16_t index, std::int16_t code) = 0;
  /// Data arrived, or could not: only a code other than 0 has an effect, since data is looked at on ticks.
  virtual void onReceive(SocketArray array, std::int16_t index, std::int16_t code) = 0;
  /// A peer calls in on a listening instance. `handle` is good for one `attach` during this call; the adapter
  /// closes what nobody attached. With a code other than 0 the handle is 0.
  virtual void onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) = 0;
};

/// Maker of socket instances.
class SocketService {
 public:
  virtual ~SocketService() = default;
  /// Makes element `index` (1 and up) of `array`, closed, with ports 0 and hosts "". Its events go to
  /// `events`, which outlives it. The caller owns the instance; destroying it closes it.
  virtual std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                                 SocketEvents& events) = 0;
};

}  // namespace quarnex
