// What is being recorded: the steps, the outputs, and the one answer that a read gets between two outputs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "quarnex/failure.h"
#include "recording/format/lines.h"
#include "services/observer.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// The answer to one kind of read, good until the next output.
template <class T>
struct Reading {
  std::uint64_t stretch = 0;  // between which outputs it was made; 0 = never
  T value{};
  std::optional<Failure> failure;
};

class Tape {
 public:
  /// Begins a recording. `clock` and `lines` outlive the tape.
  Tape(WallClock& clock, Lines& lines);

  /// Outside of steps nothing is recorded: tools look at links there.
  bool inStep() const { return depth_ > 0; }

  void beginCall(const Method& method, std::span<const Value> parameters);
  void endCall(const Value& result);
  void endCall(const Failure& failure);
  void beginTick();
  void beginEvent(EventKind event, SocketId socket, std::int16_t code, std::int32_t handle = 0);
  /// Ends a tick or an event.
  void end();

  void trace(std::int16_t link, std::string_view text);

  /// One operation: its line, what it does (steps nest inside), and its failure, which goes on to the caller.
  template <class Operate>
  void perform(Operation operation, SocketId socket, std::int32_t number, std::string_view text,
               Operate&& operate) {
    if (!inStep()) return operate();
    output({.kind = LineKind::Performed,
            .operation = operation,
            .socket = socket,
            .number = number,
            .text = text});
    try {
      operate();
    } catch (const Failure& failure) {
      lines_.take({.kind = LineKind::FailedOperation,
                   .operation = operation,
                   .socket = socket,
                   .number = failure.number(),
                   .text = failure.what()});
      throw;
    }
  }

  void fetched(SocketId socket, std::string_view bytes) {
    if (inStep())
      lines_.take(
          {.kind = LineKind::Fetched, .operation = Operation::Fetch, .socket = socket, .text = bytes});
  }

  /// One read. `model` is what a player would answer; a line says where the truth differs.
  template <class T, class Read>
  T read(Reading<T>& reading, Operation property, SocketId socket, T& model, Read&& ask) {
    if (!inStep()) return ask();
    if (reading.stretch != stretch_) {
      reading.stretch = stretch_;
      reading.failure.reset();
      try {
        reading.value = ask();
      } catch (const Failure& failure) {
        lines_.take({.kind = LineKind::FailedRead,
                     .operation = property,
                     .socket = socket,
                     .number = failure.number(),
                     .text = failure.what()});
        reading.failure = failure;
      }
      if (!reading.failure && reading.value != model) {
        model = reading.value;
        differs(property, socket, model);
      }
    }
    if (reading.failure) throw Failure(*reading.failure);
    return reading.value;
  }

  Instant now();
  std::int32_t utcOffset(Instant instant);

 private:
  LineParts stepOf(LineKind kind);
  void endStep();
  /// Takes an output; another stretch begins.
  void output(const LineParts& line) {
    lines_.take(line);
    ++stretch_;
  }
  void differs(Operation property, SocketId socket, std::int32_t value);
  void differs(Operation property, SocketId socket, std::string_view value);
  /// The offset at the present reading of the clock, if it has changed.
  std::optional<std::int32_t> newOffset();

  WallClock& clock_;
  Lines& lines_;
  std::uint64_t stretch_ = 1;  // numbers the stretches between outputs
  std::uint64_t clockStretch_ = 0;
  Instant now_;
  std::int32_t utcOffset_;
  int depth_ = 0;  // of nested steps
};

}  // namespace quarnex::recording
