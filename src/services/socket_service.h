// Interface of the sockets: instances in three control arrays, their operations and their events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quarnex {

/// The three control arrays. Element k of ClientSocket belongs to the client link with `IdxClient` k, element
/// k of ServerSocket (listening) and of SrvAccept (accepted call) to the server link with `IdxServer` k.
enum class SocketArray : std::uint8_t { ClientSocket, ServerSocket, SrvAccept };

constexpr std::string_view nameOf(SocketArray array) {
  constexpr std::string_view names[] = {"ClientSocket", "ServerSocket", "SrvAccept"};
  return names[static_cast<std::size_t>(array)];
}

/// The highest TCP port; the lowest is 1.
constexpr std::int32_t kPortMax = 65535;
/// Ticks that the callers of a listening instance wait at most, together, for connections before them to be
/// read to their end: a host that stood still for hours finds thousands of callers that have given up since.
constexpr int kCallersWaitTicksMax = 25;
/// Maximum number of bytes that one fetch takes.
constexpr std::size_t kFetchBytesMax = std::size_t{64} * 1024;

/// Values of `SocketInstance::state`. Adapters may return other values; the engine only distinguishes idle (0
/// and 1) from everything else.
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

  /// Ends the present use, if any. Raises no event, and discards events of that use that are not delivered
  /// yet. Closing a closed instance succeeds.
  virtual void close() = 0;
  /// Called before listen (A) and before connect (A, then B). Adapters that open a new socket for each listen
  /// and connect do nothing here.
  virtual void prepareA() = 0;
  virtual void prepareB() = 0;
  /// Starts a call to the remote host and port. A later connect event reports the outcome, never inside this
  /// call. Throws only if the call could not be started.
  virtual void connect() = 0;
  /// Listens on the local port. Each caller raises an accept event, never inside this call. Succeeds and
  /// changes nothing if the instance listens already.
  virtual void listen() = 0;
  /// Takes over the incoming connection of an accept event. Closes the earlier connection of the instance, if
  /// any, without an event. But an adapter raises no accept event before an earlier connection that its peer
  /// has ended is read to its end and its close event raised, as long as each tick fetches some of its bytes
  /// and callers have not waited for `kCallersWaitTicksMax`.
  virtual void attach(std::int32_t handle) = 0;

  /// Number of bytes received and not yet fetched, or any smaller number from 1 upwards; 0 if none wait.
  virtual std::int32_t bytesWaiting() = 0;
  /// Moves waiting bytes, at most `kFetchBytesMax`, into the received text. The rest stays in the system's
  /// buffers.
  virtual void fetch() = 0;
  /// The bytes that the last fetch of this instance took; "" if it failed. Valid until the next fetch on any
  /// instance.
  virtual std::string_view receivedText() = 0;

  /// Accepts `bytes` (any values, any length) and returns at once. They leave in order as the system accepts
  /// them. Failure 10057 without a connection, 10055 beyond the limits of the service's output; some of the
  /// bytes may have left then. The caller may reuse its buffer after the return.
  virtual void send(std::string_view bytes) = 0;
  /// Bytes that were sent and that the system has not accepted yet. For observation only.
  virtual std::size_t unsentBytes() const { return 0; }

  /// Like `setLocalAddress`, but a configuration of the host that is not recorded: the next `listen` accepts
  /// calls to this address of the machine only, and fails with 10049 if the machine does not have it.
  virtual void listenOn(std::string_view /*dotted*/) {}
  /// From now on, calls from all other addresses are accepted and reset at once: they raise no event and do
  /// not affect the attached connection. Everybody may call if the list is empty. Not recorded either.
  virtual void allowCallers(const std::vector<std::string>& /*dotted*/) {}
  /// Number of callers that were reset for this reason. For observation only.
  virtual std::uint64_t refusedCallers() const { return 0; }
  /// Address and, where it is known, port of the other end of the connection: "192.0.2.1:50000". For
  /// observation only.
  virtual std::string peer() const { return {}; }
  /// Ends the connection, if there is one, so that its close event follows as if the peer had closed it.
  virtual void hangUp() {}
};

/// Receiver of the socket events. Codes are Windows Sockets numbers, 0 for success. Called on the library's
/// thread only. An event for an index that was never created is ignored.
class SocketEvents {
 public:
  virtual ~SocketEvents() = default;
  /// The outcome of a call that `connect` started: 0 = connected.
  virtual void onConnect(SocketArray array, std::int16_t index, std::int16_t code) = 0;
  /// The peer or the system has closed the connection or the listening socket. Raised with code 0 after every
  /// earlier byte has been fetched, with another code at once.
  virtual void onClose(SocketArray array, std::int16_t index, std::int16_t code) = 0;
  /// Data arrived (code 0), or receiving failed. Code 0 has no effect, since the engine examines data on
  /// ticks.
  virtual void onReceive(SocketArray array, std::int16_t index, std::int16_t code) = 0;
  /// A peer calls on a listening instance. `handle` is valid for one `attach` during this call; the adapter
  /// closes a connection that was not attached. With a code other than 0 the handle is 0.
  virtual void onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) = 0;
};

/// Creates socket instances.
class SocketService {
 public:
  virtual ~SocketService() = default;
  /// Makes element `index` (1 and up) of `array`, closed, with ports 0 and hosts "". Its events go to
  /// `events`, which outlives it. The caller owns the instance; destroying it closes it.
  virtual std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                                 SocketEvents& events) = 0;
  /// From now on an instance that holds more than `each` unsent bytes accepts nothing more, and all instances
  /// together hold at most `all`, of which each may hold as much as is free. Unlimited before. An adapter
  /// without unsent bytes does nothing.
  virtual void limitOutput(std::size_t /*each*/, std::size_t /*all*/) {}
};

}  // namespace quarnex
