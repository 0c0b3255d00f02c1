// Writes a recording: its steps, its outputs, and one answer per read between two outputs.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "quarnex/failure.h"
#include "recording/format/line_writer.h"
#include "services/observer.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

/// The last read of one property, valid until the next output. Its answer is in the service model.
struct Reading {
  std::uint64_t stretch = 0;  // number of the stretch between two outputs in which it was read; 0 = never
  std::optional<Failure> failure;
};

class RecordingWriter final : public Observer {
 public:
  /// Begins a recording. `clock` and `lines` outlive the writer.
  RecordingWriter(WallClock& clock, LineSink& lines);

  /// Calls outside of steps are not recorded: tools inspect links there.
  bool inStep() const { return depth_ > 0; }

  void called(const Method& method, std::span<const Value> parameters) override;
  void returned(const Value& result) override;
  void failed(const Failure& failure) override;
  void traced(std::int16_t IdxQuarn, std::string_view text) override;
  void beginTick();
  void beginEvent(const SocketEvent& event);
  /// Ends a tick or an event.
  void end();

  template <class Operate>
  void perform(const ServiceCall& call, const Operate& operate) {
    perform(call, operate, [] {});
  }
  /// Records an operation and performs it; other steps may nest inside. If it fails, calls `undo`, records
  /// the failure and rethrows it.
  template <class Operate, class Undo>
  void perform(const ServiceCall& call, const Operate& operate, const Undo& undo) {
    if (inStep()) output(OperationLine{call.operation, call.socket, call.argument});
    try {
      operate();
    } catch (const Failure& failure) {
      undo();
      if (inStep()) recordFailure(call, failure);
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
      recordFailure(call, failure);
      reading.failure = failure;
      return;
    }
    lines_.take(PropertyLine{call.operation, call.socket, model});
  }
  StepStart beginStep();
  void endStep();
  void recordFailure(const ServiceCall& call, const Failure& failure) {
    lines_.take(FailedLine{call.operation, call.socket, failure.number(), failure.what()});
  }
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
