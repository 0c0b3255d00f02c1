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
#include "services/operation.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// Operations up to `CloseLog` have a line of their own; the reads behind them, up to `Period`, have lines
/// that say what they return. The others leave no line.
constexpr bool hasOwnLine(Operation operation) {
  return operation <= Operation::CloseLog;
}
constexpr bool isProperty(Operation operation) {
  return operation >= Operation::State && operation <= Operation::Period;
}

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
  Operation operation{};                  // Performed, FailedOperation, Fetched, Property, FailedRead
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
