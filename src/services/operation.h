// Lists every operation and every event of the services, for code that records, disturbs or checks them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

#include "services/socket_service.h"

namespace quarnex {

/// One socket instance; the default stands for none (the timer, the clock, the log file).
struct SocketId {
  SocketArray array = SocketArray::ClientSocket;
  std::int16_t index = 0;
  auto operator<=>(const SocketId&) const = default;
};

/// Every operation of the services, in the order of `kOperations`.
enum class Operation : std::uint8_t {
  Create,
  Close,
  PrepareA,
  PrepareB,
  Connect,
  Listen,
  Fetch,
  Attach,
  SetLocalPort,
  SetRemotePort,
  SetLocalAddress,
  SetRemoteHost,
  Send,
  SetPeriod,
  CreateLog,
  CloseLog,
  State,
  StatusText,
  LocalPort,
  RemotePort,
  RemoteHost,
  BytesWaiting,
  ReceivedText,
  Period,
  Now,
  UtcOffset,
  WriteLog
};

/// Kind of an operation's argument or result. The result of `create` and the argument of `utcOffset` count as
/// none.
enum class OperandKind : std::uint8_t { None, Number, Text };

struct OperationShape {
  std::string_view name;  ///< as recordings spell it
  bool onSocket;          ///< called on (or, for `create`, calls for) one socket instance
  bool isRead;            ///< returns a value and changes nothing
  bool mayFail;           ///< may throw `Failure`
  OperandKind argument;   ///< an operation has at most one
  OperandKind result;
};

inline constexpr auto kOperations = [] {
  using enum OperandKind;
  return std::to_array<OperationShape>({
      // name, onSocket, isRead, mayFail, argument, result
      {"create", true, false, true, None, None},
      {"close", true, false, true, None, None},
      {"prepareA", true, false, true, None, None},
      {"prepareB", true, false, true, None, None},
      {"connect", true, false, true, None, None},
      {"listen", true, false, true, None, None},
      {"fetch", true, false, true, None, None},
      {"attach", true, false, true, Number, None},
      {"setLocalPort", true, false, true, Number, None},
      {"setRemotePort", true, false, true, Number, None},
      {"setLocalAddress", true, false, true, Text, None},
      {"setRemoteHost", true, false, true, Text, None},
      {"send", true, false, true, Text, None},
      {"setPeriod", false, false, true, Number, None},
      {"createLog", false, false, true, Text, None},
      {"closeLog", false, false, false, None, None},
      {"state", true, true, true, None, Number},
      {"statusText", true, true, true, None, Text},
      {"localPort", true, true, true, None, Number},
      {"remotePort", true, true, true, None, Number},
      {"remoteHost", true, true, true, None, Text},
      {"bytesWaiting", true, true, true, None, Number},
      {"receivedText", true, true, true, None, Text},
      {"period", false, true, true, None, Number},
      {"now", false, true, false, None, Number},
      {"utcOffset", false, true, false, None, Number},
      {"writeLog", false, false, false, Text, None},
  });
}();
static_assert(kOperations.size() == static_cast<std::size_t>(Operation::WriteLog) + 1);

constexpr const OperationShape& shapeOf(Operation operation) {
  return kOperations[static_cast<std::size_t>(operation)];
}

constexpr std::string_view nameOf(Operation operation) {
  return shapeOf(operation).name;
}

constexpr bool isRead(Operation operation) {
  return shapeOf(operation).isRead;
}

/// An operation's argument or result: nothing, a number, or a text that belongs to the caller.
using Operand = std::variant<std::monostate, std::int32_t, std::string_view>;

/// One call of an operation. A text among the arguments is valid during the call.
struct ServiceCall {
  Operation operation;
  SocketId socket{};
  Operand argument{};

  /// The argument of an operation that has one of this kind.
  std::int32_t number() const { return std::get<std::int32_t>(argument); }
  std::string_view text() const { return std::get<std::string_view>(argument); }
};

/// The events of a socket instance, in the order of `kEvents`.
enum class EventKind : std::uint8_t { Connect, Close, Receive, Accept };

/// Their names, as recordings spell them.
inline constexpr std::array<std::string_view, 4> kEvents = {"Connect", "Close", "Receive", "Accept"};

/// One event of a socket instance. Only an accept event has a handle.
struct SocketEvent {
  EventKind kind;
  SocketId socket;
  std::int16_t code;
  std::int32_t handle = 0;
};

/// Calls the method of `receiver` for `event`.
inline void deliver(const SocketEvent& event, SocketEvents& receiver) {
  const auto [array, index] = event.socket;
  switch (event.kind) {
    case EventKind::Connect:
      return receiver.onConnect(array, index, event.code);
    case EventKind::Close:
      return receiver.onClose(array, index, event.code);
    case EventKind::Receive:
      return receiver.onReceive(array, index, event.code);
    case EventKind::Accept:
      return receiver.onAccept(array, index, event.handle, event.code);
  }
}

}  // namespace quarnex
