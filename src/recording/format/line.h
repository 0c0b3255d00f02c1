// Defines the lines of a recording: one type per kind, with its values, its JSON members and its words.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "host/method_table.h"
#include "recording/format/keys.h"
#include "services/operation.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// One line. It refers to its texts, parameters and result; they belong to the recorded engine, to a parser
/// or to `StoredLines`.
///
/// Each kind of line is one type, which states everything about its kind. `kShape` is its place in a step and
/// the keys that determine it. `members` calls `visit(key, member)` for each JSON member, in their order in a
/// file; parsing, writing, hashing and copying are such visitors. `words` describes the line for people; it
/// is empty if the printer shows the line in another way.
using Line = std::variant<struct CallLine, struct TickLine, struct EventLine, struct TraceLine,
                          struct OperationLine, struct ResultLine, struct FailureLine, struct EndLine,
                          struct InvalidLine, struct FetchedLine, struct FailedLine, struct PropertyLine,
                          struct NowLine, struct MissingLine>;

enum class LineRole : std::uint8_t { Step, Output, Input };

struct LineShape {
  LineRole role;
  Key key;
  Key otherKey = key;  ///< of operations only
};

/// Operations up to `CloseLog` have lines of their own. The reads behind them, up to `Period`, are
/// properties. The others have no lines.
constexpr bool hasOwnLine(Operation operation) {
  return operation <= Operation::CloseLog;
}
constexpr bool isProperty(Operation operation) {
  return operation >= Operation::State && operation <= Operation::Period;
}

/// The value of a member that only occurs as `true`.
struct True {};

/// The first members of every step.
struct StepStart {
  Instant at;
  std::optional<std::int32_t> utcOffset;  ///< seconds; set if it has changed
  bool nested = false;                    ///< inside an operation

  static void members(auto& visit, auto& self) {
    visit(Key::At, self.at);
    visit(Key::UtcOffset, self.utcOffset);
    visit(Key::Nested, self.nested);
  }
};

/// A host call begins.
struct CallLine {
  static constexpr LineShape kShape{LineRole::Step, Key::Call};
  StepStart start;
  const Method* method = nullptr;
  std::span<const Value> parameters;

  static void members(auto& visit, auto& self) {
    StepStart::members(visit, self.start);
    visit(Key::Call, self.method);
    visit(Key::Params, self.parameters);
  }
  std::string words() const;
};

/// The timer ticks.
struct TickLine {
  static constexpr LineShape kShape{LineRole::Step, Key::Tick};
  StepStart start;

  static void members(auto& visit, auto& self) {
    StepStart::members(visit, self.start);
    visit(Key::Tick, True{});
  }
  std::string words() const;
};

/// A socket raises an event.
struct EventLine {
  static constexpr LineShape kShape{LineRole::Step, Key::Event};
  StepStart start;
  EventKind event{};
  SocketId socket;
  std::int16_t code = 0;
  std::int32_t handle = 0;           ///< of the incoming call; Accept only
  std::string_view remoteHost = {};  ///< the caller's; Accept only

  static void members(auto& visit, auto& self) {
    StepStart::members(visit, self.start);
    visit(Key::Event, self.event);
    visit(self.socket);
    if (self.event == EventKind::Accept) {
      visit(Key::Handle, self.handle);
      visit(Key::RemoteHost, self.remoteHost);
    }
    visit(Key::Code, self.code);
  }
  std::string words() const;
};

/// The engine traces a text.
struct TraceLine {
  static constexpr LineShape kShape{LineRole::Output, Key::Trace};
  std::int16_t link = 0;
  std::string_view text;
  bool operator==(const TraceLine&) const = default;

  static void members(auto& visit, auto& self) {
    visit(Key::Trace, self.link);
    visit(Key::Text, self.text);
  }
  std::string words() const;
};

/// The engine calls an operation of its services.
struct OperationLine {
  static constexpr LineShape kShape{LineRole::Output, Key::Did, Key::Sent};
  Operation operation{};
  SocketId socket;
  Operand argument;
  bool operator==(const OperationLine&) const = default;

  static void members(auto& visit, auto& self) {
    const OperationShape& sent = shapeOf(Operation::Send);
    if (self.operation == Operation::Send) {
      visit(Key::Sent, self.argument, sent.argument);
      visit(self.socket);
      return;
    }
    visit(Key::Did, self.operation);
    const OperationShape& shape = shapeOf(self.operation);
    if (shape.onSocket) visit(self.socket);
    visit(argumentKey(self.operation), self.argument, shape.argument);
  }
  std::string words() const;

 private:
  static constexpr Key argumentKey(Operation operation) {
    if (operation == Operation::Attach) return Key::Handle;
    return operation == Operation::CreateLog ? Key::Name : Key::Value;
  }
};

/// A host call returns.
struct ResultLine {
  static constexpr LineShape kShape{LineRole::Output, Key::Result};
  const Value* value = nullptr;
  bool operator==(const ResultLine& other) const { return *value == *other.value; }

  static void members(auto& visit, auto& self) { visit(Key::Result, self.value); }
  std::string words() const;
};

/// A host call fails.
struct FailureLine {
  static constexpr LineShape kShape{LineRole::Output, Key::Failure};
  std::int32_t number = 0;
  std::string_view description;
  bool operator==(const FailureLine&) const = default;

  static void members(auto& visit, auto& self) {
    visit(Key::Failure, self.number);
    visit(Key::Description, self.description);
  }
  std::string words() const;
};

/// A nested tick or event ends.
struct EndLine {
  static constexpr LineShape kShape{LineRole::Output, Key::End};
  bool operator==(const EndLine&) const = default;

  static void members(auto& visit, auto&) { visit(Key::End, True{}); }
  std::string words() const { return ""; }
};

/// An output with a value that no engine writes, as its JSON: it matches no output.
struct InvalidLine {
  std::string_view json;

  static void members(auto& visit, auto& self) { visit(Key::Text, self.json); }
  std::string words() const;
};

/// The bytes that the last fetch took.
struct FetchedLine {
  static constexpr LineShape kShape{LineRole::Input, Key::Fetched};
  std::string_view bytes;
  SocketId socket;

  static void members(auto& visit, auto& self) {
    visit(Key::Fetched, self.bytes);
    visit(self.socket);
  }
  std::string words() const;
};

/// The last operation failed, or a read fails until the next output.
struct FailedLine {
  static constexpr LineShape kShape{LineRole::Input, Key::Failed};
  Operation operation{};
  SocketId socket;
  std::int32_t number = 0;
  std::string_view description;

  static void members(auto& visit, auto& self) {
    visit(Key::Failed, self.operation);
    if (shapeOf(self.operation).onSocket) visit(self.socket);
    visit(Key::Number, self.number);
    visit(Key::Description, self.description);
  }
  std::string words() const;
};

/// A property has this value from here on.
struct PropertyLine {
  static constexpr LineShape kShape{LineRole::Input, Key::Property};
  Operation operation{};  ///< the read
  SocketId socket;
  Operand value;

  static void members(auto& visit, auto& self) {
    visit(Key::Property, self.operation);
    const OperationShape& shape = shapeOf(self.operation);
    if (shape.onSocket) visit(self.socket);
    visit(Key::Value, self.value, shape.result);
  }
  std::string words() const;
};

/// The clock shows this time from here on.
struct NowLine {
  static constexpr LineShape kShape{LineRole::Input, Key::Now};
  Instant at;
  std::optional<std::int32_t> utcOffset;  ///< seconds; set if it has changed

  static void members(auto& visit, auto& self) {
    visit(Key::Now, self.at);
    visit(Key::UtcOffset, self.utcOffset);
  }
  std::string words() const { return ""; }
};

/// Lines that were not recorded: nothing behind this line can be replayed.
struct MissingLine {
  static constexpr LineShape kShape{LineRole::Input, Key::Missing};
  std::int64_t bytes = 0;

  static void members(auto& visit, auto& self) { visit(Key::Missing, self.bytes); }
  std::string words() const;
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
