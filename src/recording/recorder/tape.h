// Writes a recording: its steps, its outputs, and one answer per read between two outputs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "quarnex/failure.h"
#include "recording/format/sink.h"
#include "services/observer.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// The answer to one kind of read, valid until the next output.
template <class T>
struct Reading {
  std::uint64_t stretch = 0;  // number of the stretch between two outputs in which it was read; 0 = never
  T value{};
  std::optional<Failure> failure;
};

class Tape {
 public:
  /// Begins a recording. `clock` and `lines` outlive the tape.
  Tape(WallClock& clock, LineSink& lines);

  /// Calls outside of steps are not recorded: tools inspect links there.
  bool inStep() const { return depth_ > 0; }

  void beginCall(const Method& method, std::span<const Value> parameters);
  void endCall(const Value& result);
  void endCall(const Failure& failure);
  void beginTick();
  void beginEvent(EventKind event, SocketId socket, std::int16_t code, std::int32_t handle = 0);
  /// Ends a tick or an event.
  void end();

  void trace(std::int16_t link, std::string_view text);

  /// Records an operation, performs it (other steps may nest inside) and records its failure, which it
  /// rethrows.
  template <class Operate>
  void perform(const OperationLine& line, Operate&& operate) {
    if (!inStep()) return operate();
    output(line);
    try {
      operate();
    } catch (const Failure& failure) {
      lines_.take(FailedLine{line.operation, line.socket, failure.number(), failure.what()});
      throw;
    }
  }

  void fetched(SocketId socket, std::string_view bytes) {
    if (inStep()) lines_.take(FetchedLine{bytes, socket});
  }

  /// Reads a property. `model` is the answer in a replay; another answer gets a line.
  template <class T, class Read>
  T read(Reading<T>& reading, Operation property, SocketId socket, T& model, Read&& ask) {
    if (!inStep()) return ask();
    if (reading.stretch != stretch_) {
      reading.stretch = stretch_;
      reading.failure.reset();
      try {
        reading.value = ask();
      } catch (const Failure& failure) {
        lines_.take(FailedLine{property, socket, failure.number(), failure.what()});
        reading.failure = failure;
      }
      if (!reading.failure && reading.value != model) {
        model = reading.value;
        lines_.take(PropertyLine{property, socket, model});
      }
    }
    if (reading.failure) throw Failure(*reading.failure);
    return reading.value;
  }

  Instant now();
  std::int32_t utcOffset(Instant instant);

 private:
  StepStart beginStep();
  void endStep();
  /// Records an output and begins another stretch.
  void output(const Line& line) {
    lines_.take(line);
    ++stretch_;
  }
  /// The offset of local time at the last reading of the clock, if it has changed.
  std::optional<std::int32_t> newOffset();

  WallClock& clock_;
  LineSink& lines_;
  std::uint64_t stretch_ = 1;  // number of the current stretch between two outputs
  std::uint64_t clockStretch_ = 0;
  Instant now_;
  std::int32_t utcOffset_;
  int depth_ = 0;  // of nested steps
};

}  // namespace quarnex::recording
