// Writes a recording: its steps, its outputs, and one answer per read between two outputs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "quarnex/failure.h"
#include "recording/format/sink.h"
#include "services/observer.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// The last read of one property, valid until the next output. Its answer is in the service model.
struct Reading {
  std::uint64_t stretch = 0;  // number of the stretch between two outputs in which it was read; 0 = never
  std::optional<Failure> failure;
};

class RecordingWriter {
 public:
  /// Begins a recording. `clock` and `lines` outlive the writer.
  RecordingWriter(WallClock& clock, LineSink& lines);

  /// Calls outside of steps are not recorded: tools inspect links there.
  bool inStep() const { return depth_ > 0; }

  void beginCall(const Method& method, std::span<const Value> parameters);
  void endCall(const Value& result);
  void endCall(const Failure& failure);
  void beginTick();
  void beginEvent(const SocketEvent& event);
  /// Ends a tick or an event.
  void end();

  void trace(std::int16_t link, std::string_view text);

  /// Records an operation, performs it (other steps may nest inside) and records its failure, which it
  /// rethrows.
  template <class Operate>
  void perform(const ServiceCall& call, const Operate& operate) {
    if (!inStep()) return operate();
    output(lineOf(call));
    try {
      operate();
    } catch (const Failure& failure) {
      lines_.take(FailedLine{call.operation, call.socket, failure.number(), failure.what()});
      throw;
    }
  }

  void fetched(SocketId socket, std::string_view bytes) {
    if (inStep()) lines_.take(FetchedLine{bytes, socket});
  }

  /// Reads a property. `model` is the answer in a replay; another answer gets a line and changes the model.
  template <class T, class Ask>
  T read(Reading& reading, const ServiceCall& call, T& model, const Ask& ask) {
    if (!inStep()) return ask();
    if (reading.stretch != stretch_) refresh(reading, call, model, ask);
    if (reading.failure) throw Failure(*reading.failure);
    return model;
  }

  Instant now();
  /// The offset of local time in seconds at the last reading of the clock in a step.
  std::int32_t utcOffset() const { return utcOffset_; }

 private:
  template <class T, class Ask>
  void refresh(Reading& reading, const ServiceCall& call, T& model, const Ask& ask) {
    reading.stretch = stretch_;
    reading.failure.reset();
    try {
      T value = ask();
      if (value == model) return;
      model = std::move(value);
    } catch (const Failure& failure) {
      lines_.take(FailedLine{call.operation, call.socket, failure.number(), failure.what()});
      reading.failure = failure;
      return;
    }
    lines_.take(PropertyLine{call.operation, call.socket, model});
  }
  /// Fills the line in its place: copying the operand once more would double the cost of a `send`.
  static Line lineOf(const ServiceCall& call) {
    Line line{std::in_place_type<OperationLine>};
    auto& operation = *std::get_if<OperationLine>(&line);
    operation.operation = call.operation;
    operation.socket = call.socket;
    operation.argument = call.argument;
    return line;
  }
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
