// Defines the lines of a recording and their JSON keys: one type per kind, with its values and its JSON
// members.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "host/method_table.h"
#include "services/operation.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// The keys of the JSON objects. Those before "missing" each determine the kind of a line; a line has exactly
/// one of them, or "missing" or "limit".
inline constexpr auto kKeys = std::to_array<std::string_view>(
    {"call",        "tick",    "event",    "trace",  "did",         "sent", "result", "failure", "end",
     "fetched",     "failed",  "property", "now",    "missing",     "at",   "params", "nested",  "utc_offset",
     "socket",      "index",   "code",     "handle", "remote_host", "text", "value",  "name",    "number",
     "description", "quarnex", "version",  "limit",  "idle_calls",  "ms"});

/// A key, by its place in `kKeys`.
enum class Key : std::uint8_t {};

constexpr std::string_view nameOf(Key key) {
  return kKeys[static_cast<std::size_t>(key)];
}
/// A name as a template argument. (Clang 14 leaves calls of an immediate function in templates to the linker,
/// so the name is not a function argument.)
template <std::size_t size>
struct KeyName {
  // NOLINTNEXTLINE(google-explicit-constructor): made from the literal
  constexpr KeyName(const char (&text)[size]) { std::copy_n(text, size, characters); }
  char characters[size];
};
/// Does not compile for a name that `kKeys` lacks.
template <KeyName name>
constexpr Key operator""_key() {
  constexpr auto found = std::ranges::find(kKeys, name.characters);
  static_assert(found != kKeys.end());
  return Key{found - kKeys.begin()};
}

/// One line. It refers to its texts, parameters and result; they belong to the recorded engine, to a parser
/// or to `StoredLines`.
///
/// Each kind of line is one type, which states everything about its kind. `kKey` is the key that determines
/// it. Outputs can be compared. `members` calls `visit(key, member)` for each JSON member, in their order in
/// a file; parsing, writing, hashing and copying are such visitors.
using Line = std::variant<struct CallLine, struct TickLine, struct EventLine, struct TraceLine,
                          struct OperationLine, struct ResultLine, struct FailureLine, struct EndLine,
                          struct InvalidLine, struct FetchedLine, struct FailedLine, struct PropertyLine,
                          struct NowLine, struct MissingLine, struct LimitLine>;

/// The value of a member that only occurs as `true`.
struct True {};

/// The first members of every step.
struct StepStart {
  Instant at;
  std::optional<std::int32_t> utcOffset;       ///< seconds; set if it has changed
  bool nested = false;                         ///< inside an operation
  std::optional<std::int64_t> idleCalls = {};  ///< host calls without news that were left out before the step
  std::optional<std::int64_t> ms = {};         ///< milliseconds since the recording began

  static void members(auto& visit, auto& self) {
    visit("at"_key, self.at);
    visit("utc_offset"_key, self.utcOffset);
    visit("nested"_key, self.nested);
    visit("idle_calls"_key, self.idleCalls);
    visit("ms"_key, self.ms);
  }
};

/// A host call begins.
struct CallLine {
  static constexpr Key kKey = "call"_key;
  StepStart start;
  const Method* method = nullptr;
  std::span<const Value> parameters;

  static void members(auto& visit, auto& self) {
    StepStart::members(visit, self.start);
    visit(kKey, self.method);
    visit("params"_key, self.parameters);
  }
};

/// The timer ticks.
struct TickLine {
  static constexpr Key kKey = "tick"_key;
  StepStart start;

  static void members(auto& visit, auto& self) {
    StepStart::members(visit, self.start);
    visit(kKey, True{});
  }
};

/// A socket raises an event.
struct EventLine {
  static constexpr Key kKey = "event"_key;
  StepStart start;
  EventKind event{};
  SocketId socket;
  std::int16_t code = 0;
  std::int32_t handle = 0;           ///< of the incoming call; Accept only
  std::string_view remoteHost = {};  ///< the caller's; Accept only

  static void members(auto& visit, auto& self) {
    StepStart::members(visit, self.start);
    visit(kKey, self.event);
    visit(self.socket);
    if (self.event == EventKind::Accept) {
      visit("handle"_key, self.handle);
      visit("remote_host"_key, self.remoteHost);
    }
    visit("code"_key, self.code);
  }
};

/// The engine traces a text.
struct TraceLine {
  static constexpr Key kKey = "trace"_key;
  std::int16_t link = 0;
  std::string_view text;
  bool operator==(const TraceLine&) const = default;

  static void members(auto& visit, auto& self) {
    visit(kKey, self.link);
    visit("text"_key, self.text);
  }
};

/// The engine calls an operation of its services.
struct OperationLine {
  static constexpr Key kKey = "did"_key;
  Operation operation{};
  SocketId socket;
  Operand argument;
  bool operator==(const OperationLine&) const = default;

  static void members(auto& visit, auto& self) {
    const OperationShape& sent = shapeOf(Operation::Send);
    if (self.operation == Operation::Send) {
      visit("sent"_key, self.argument, sent.argument);
      visit(self.socket);
      return;
    }
    visit(kKey, self.operation);
    const OperationShape& shape = shapeOf(self.operation);
    if (shape.onSocket) visit(self.socket);
    visit(argumentKey(self.operation), self.argument, shape.argument);
  }

 private:
  static constexpr Key argumentKey(Operation operation) {
    if (operation == Operation::Attach) return "handle"_key;
    return operation == Operation::CreateLog ? "name"_key : "value"_key;
  }
};

/// A host call returns.
struct ResultLine {
  static constexpr Key kKey = "result"_key;
  const Value* value = nullptr;
  bool operator==(const ResultLine& other) const { return *value == *other.value; }

  static void members(auto& visit, auto& self) { visit(kKey, self.value); }
};

/// A host call fails.
struct FailureLine {
  static constexpr Key kKey = "failure"_key;
  std::int32_t number = 0;
  std::string_view description;
  bool operator==(const FailureLine&) const = default;

  static void members(auto& visit, auto& self) {
    visit(kKey, self.number);
    visit("description"_key, self.description);
  }
};

/// A nested tick or event ends.
struct EndLine {
  static constexpr Key kKey = "end"_key;
  bool operator==(const EndLine&) const = default;

  static void members(auto& visit, auto&) { visit(kKey, True{}); }
};

/// An output with a value that no engine writes, as its JSON: it matches no output.
struct InvalidLine {
  static constexpr Key kKey = "text"_key;  // of a trace, too: never parsed as this kind
  std::string_view json;

  static void members(auto& visit, auto& self) { visit(kKey, self.json); }
};

/// The bytes that the last fetch took.
struct FetchedLine {
  static constexpr Key kKey = "fetched"_key;
  std::string_view bytes;
  SocketId socket;

  static void members(auto& visit, auto& self) {
    visit(kKey, self.bytes);
    visit(self.socket);
  }
};

/// The last operation failed, or a read fails until the next output.
struct FailedLine {
  static constexpr Key kKey = "failed"_key;
  Operation operation{};
  SocketId socket;
  std::int32_t number = 0;
  std::string_view description;

  static void members(auto& visit, auto& self) {
    visit(kKey, self.operation);
    if (shapeOf(self.operation).onSocket) visit(self.socket);
    visit("number"_key, self.number);
    visit("description"_key, self.description);
  }
};

/// A property has this value from here on.
struct PropertyLine {
  static constexpr Key kKey = "property"_key;
  Operation operation{};  ///< the read
  SocketId socket;
  Operand value;

  static void members(auto& visit, auto& self) {
    visit(kKey, self.operation);
    const OperationShape& shape = shapeOf(self.operation);
    if (shape.onSocket) visit(self.socket);
    visit("value"_key, self.value, shape.result);
  }
};

/// The clock shows this time from here on.
struct NowLine {
  static constexpr Key kKey = "now"_key;
  Instant at;
  std::optional<std::int32_t> utcOffset;  ///< seconds; set if it has changed

  static void members(auto& visit, auto& self) {
    visit(kKey, self.at);
    visit("utc_offset"_key, self.utcOffset);
  }
};

/// Lines that were not recorded: nothing behind this line can be replayed.
struct MissingLine {
  static constexpr Key kKey = "missing"_key;
  std::int64_t bytes = 0;

  static void members(auto& visit, auto& self) { visit(kKey, self.bytes); }
};

/// The recording ends here, because its file would exceed this size.
struct LimitLine {
  static constexpr Key kKey = "limit"_key;
  std::int64_t bytes = 0;

  static void members(auto& visit, auto& self) { visit(kKey, self.bytes); }
};

/// True if both are the same output, with the same values.
inline bool isEqual(const Line& one, const Line& other) {
  return std::visit(
      [&other]<class OneLine>(const OneLine& line) {
        const auto* same = std::get_if<OneLine>(&other);
        if constexpr (std::equality_comparable<OneLine>) return same != nullptr && *same == line;
        return false;
      },
      one);
}

/// Lets `visit` visit the members of a line.
void visitMembers(auto& visit, auto& line) {
  std::visit([&visit](auto& one) { one.members(visit, one); }, line);
}

/// How a step begins, nullptr for any other line.
inline const StepStart* stepStartOf(const Line& line) {
  return std::visit(
      [](const auto& one) -> const StepStart* {
        if constexpr (requires { one.start; }) return &one.start;
        return nullptr;
      },
      line);
}
inline bool isStep(const Line& line) {
  return stepStartOf(line) != nullptr;
}
/// Not nested.
inline bool isTopStep(const Line& line) {
  const StepStart* start = stepStartOf(line);
  return start != nullptr && !start->nested;
}

/// The socket instance that a line names, nullptr if none.
inline SocketId* socketOf(Line& line) {
  return std::visit(
      [](auto& one) -> SocketId* {
        if constexpr (requires { one.operation; }) {
          if (!shapeOf(one.operation).onSocket) return nullptr;
        }
        if constexpr (requires { one.socket; }) return &one.socket;
        return nullptr;
      },
      line);
}
inline const SocketId* socketOf(const Line& line) {
  return socketOf(const_cast<Line&>(line));
}

}  // namespace quarnex::recording
