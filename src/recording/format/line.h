// One line of a recording, with its values checked and typed; and the words that the format uses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/method_table.h"
#include "services/socket_service.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// One socket instance; the default stands for none (the timer, the log).
struct SocketId {
  SocketArray array = SocketArray::ClientSocket;
  std::int16_t index = 0;
  bool operator==(const SocketId&) const = default;
};

/// What the engine does to its services.
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
  CloseLog
};

/// How the line of an operation is written. An operation has at most one argument.
struct OperationShape {
  std::string_view name;
  bool onSocket;
  ValueKind argument;  // None, Integer or String
};

inline constexpr std::array<OperationShape, 16> kOperations = {{{"create", true, ValueKind::None},
                                                                {"close", true, ValueKind::None},
                                                                {"prepareA", true, ValueKind::None},
                                                                {"prepareB", true, ValueKind::None},
                                                                {"connect", true, ValueKind::None},
                                                                {"listen", true, ValueKind::None},
                                                                {"fetch", true, ValueKind::None},
                                                                {"attach", true, ValueKind::Integer},
                                                                {"setLocalPort", true, ValueKind::Integer},
                                                                {"setRemotePort", true, ValueKind::Integer},
                                                                {"setLocalAddress", true, ValueKind::String},
                                                                {"setRemoteHost", true, ValueKind::String},
                                                                {"send", true, ValueKind::String},
                                                                {"setPeriod", false, ValueKind::Integer},
                                                                {"createLog", false, ValueKind::String},
                                                                {"closeLog", false, ValueKind::None}}};

constexpr const OperationShape& shapeOf(Operation operation) {
  return kOperations[static_cast<std::size_t>(operation)];
}

/// What the engine reads of its services.
enum class Property : std::uint8_t {
  State,
  StatusText,
  LocalPort,
  RemotePort,
  RemoteHost,
  BytesWaiting,
  ReceivedText,
  Period
};

struct PropertyShape {
  std::string_view name;
  bool onSocket;
  bool isText;
};

inline constexpr std::array<PropertyShape, 8> kProperties = {{{"state", true, false},
                                                              {"statusText", true, true},
                                                              {"localPort", true, false},
                                                              {"remotePort", true, false},
                                                              {"remoteHost", true, true},
                                                              {"bytesWaiting", true, false},
                                                              {"receivedText", true, true},
                                                              {"period", false, false}}};

constexpr const PropertyShape& shapeOf(Property property) {
  return kProperties[static_cast<std::size_t>(property)];
}

enum class EventKind : std::uint8_t { Connect, Close, Receive, Accept };

inline constexpr std::array<std::string_view, 4> kEvents = {"Connect", "Close", "Receive", "Accept"};

enum class LineKind : std::uint8_t {
  Call,  // steps
  Tick,
  Event,
  Trace,      // outputs
  Performed,  // `did` and `sent`
  Result,
  Failure,
  End,
  NoOutput,  // an output with a value that no engine puts there: it differs from whatever comes
  Fetched,   // inputs
  FailedOperation,
  FailedRead,
  Property,
  Now,
  Missing  // nothing behind it can be played
};

struct Line {
  LineKind kind = LineKind::End;
  bool nested = false;                    // steps
  EventKind event{};                      // Event
  Operation operation{};                  // Performed, FailedOperation, Fetched
  recording::Property property{};         // Property, FailedRead
  SocketId socket;                        // wherever the line has one
  const Method* method = nullptr;         // Call
  Instant at;                             // steps, Now
  std::optional<std::int32_t> utcOffset;  // steps, Now: set where it changes
  std::int32_t number =
      0;  // link of a Trace, argument of an operation, failure number, property, code of an event
  std::int32_t handle = 0;    // Accept
  std::string text;           // of a Trace, argument, bytes, description, property, remote host of an Accept,
                              // how many bytes of a Missing
  std::vector<Value> values;  // parameters of a Call; of a Result the one

  bool isStep() const { return kind <= LineKind::Event; }
};

/// A line by its parts, which lie elsewhere: good for the moment. What its kind does not have stays as it is
/// here.
struct LineParts {
  LineKind kind = LineKind::End;
  bool nested = false;
  EventKind event{};
  Operation operation{};
  recording::Property property{};
  SocketId socket{};
  std::int32_t number = 0;
  std::int32_t handle = 0;
  Instant at{};
  std::optional<std::int32_t> utcOffset = std::nullopt;
  const Method* method = nullptr;
  std::string_view text{};
  std::span<const Value> values{};
};

/// Of a line that stays where it is.
inline LineParts partsOf(const Line& line) {
  return {.kind = line.kind,
          .nested = line.nested,
          .event = line.event,
          .operation = line.operation,
          .property = line.property,
          .socket = line.socket,
          .number = line.number,
          .handle = line.handle,
          .at = line.at,
          .utcOffset = line.utcOffset,
          .method = line.method,
          .text = line.text,
          .values = line.values};
}

}  // namespace quarnex::recording
