#include "recording/recorder/recorder.h"

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <type_traits>

#include "engine/records/library.h"
#include "quarnex/failure.h"
#include "services/interceptor.h"
#include "services/plain_services.h"

namespace quarnex::recording {
namespace {

/// The last read of one property, valid until the next output. Its answer is in the service model.
struct Reading {
  std::uint64_t stretch = 0;  // number of the stretch between two outputs in which it was read; 0 = never
  std::optional<Failure> failure;
};

class Recorder;

class RecordedSocket {
 public:
  explicit RecordedSocket(Recorder& recorder) : recorder_(recorder) {}

  /// Changes the model as an event does.
  void follow(const SocketEvent& event) { model_.follow(event.kind, event.code); }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate);

  std::unique_ptr<SocketInstance> inner;

 private:
  static constexpr std::size_t readingOf(Operation operation) {
    return isRead(operation) ? static_cast<std::size_t>(operation) - kFirstRead : 0;
  }
  void fetch(const ServiceCall& call);

  static constexpr auto kFirstRead = static_cast<std::size_t>(Operation::State);
  static constexpr auto kReads = static_cast<std::size_t>(Operation::ReceivedText) + 1 - kFirstRead;

  Recorder& recorder_;
  PlainSocket model_;
  std::int32_t anyWaiting_ = 0;  // 1 if bytes wait
  std::string_view received_;    // in the inner instance, until the next fetch of any
  Reading readings_[kReads];
};

/// Stands between a fresh engine and its services and records everything from the first call on: the steps,
/// the outputs, and one answer per read between two outputs.
///
/// Between two outputs, the engine gets each property and the clock as they were first read, so that the
/// recording holds everything that the engine read. Calls outside of steps are not recorded: tools inspect
/// links there. The sink and the wrapped services outlive the recorder, which outlives the library.
class Recorder final : public Interceptor<Recorder, RecordedSocket>, private Observer {
 public:
  Recorder(const Services& services, LineSink& lines)
      : Interceptor(services),
        lines_(lines),
        now_(services.clock.now()),
        utcOffset_(services.clock.utcOffset(now_)) {
    lines_.begin(utcOffset_);
  }

  /// Observes the library from its first host call on.
  Observer& observer() { return *this; }

 private:
  friend class Interceptor<Recorder, RecordedSocket>;
  friend class RecordedSocket;

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    using Result = decltype(operate());
    if constexpr (std::is_same_v<Result, Instant>) {
      return readClock();
    } else if constexpr (std::is_same_v<Result, std::int16_t>) {
      return read(periodReading_, call, period_, operate);
    } else if constexpr (!std::is_void_v<Result>) {
      return inStep() ? utcOffset_ : operate();
    } else if (call.operation == Operation::WriteLog) {
      operate();
    } else if (call.operation == Operation::SetPeriod) {
      const std::int16_t before = std::exchange(period_, static_cast<std::int16_t>(call.number()));
      perform(call, operate, [&] { period_ = before; });
    } else {
      perform(call, operate);
    }
  }
  // The model of the instance changes before the engine learns of the event. The caller's address is not
  // known yet: a read after the attach gets a line of its own.
  template <class Pass>
  void deliver(const SocketEvent& event, const Pass& pass) {
    lines_.take(EventLine{beginStep(), event.kind, event.socket, event.code, event.handle});
    if (const auto found = sockets_.find(event.socket); found != sockets_.end()) found->second->follow(event);
    pass();
    endPassed();
  }
  template <class Pass>
  void tick(const Pass& pass) {
    lines_.take(TickLine{beginStep()});
    pass();
    endPassed();
  }
  void created(SocketId id, RecordedSocket& socket) { sockets_[id] = &socket; }

  void called(const Method& method, std::span<const Value> parameters) override {
    lines_.take(CallLine{beginStep(), &method, parameters});
  }
  void returned(const Value& result) override {
    lines_.take(ResultLine{&result});
    endStep();
  }
  void failed(const Failure& failure) override {
    lines_.take(FailureLine{failure.number(), failure.what()});
    endStep();
  }
  void traced(std::int16_t IdxQuarn, std::string_view text) override {
    if (inStep()) output(TraceLine{IdxQuarn, text});
  }

  bool inStep() const { return depth_ > 0; }
  StepStart beginStep() {
    ++depth_;
    ++stretch_;
    clockStretch_ = stretch_;
    now_ = inner().clock.now();
    return {now_, newOffset(), depth_ > 1};
  }
  void endStep() {
    --depth_;
    ++stretch_;
    if (depth_ == 0) lines_.pause();
  }
  /// Ends a tick or an event.
  void endPassed() {
    if (depth_ > 1) lines_.take(EndLine{});
    endStep();
  }

  /// Records an operation and performs it; other steps may nest inside. If it fails, calls `undo`, records
  /// the failure and rethrows it.
  template <class Operate, class Undo = void (*)()>
  void perform(
      const ServiceCall& call, const Operate& operate, const Undo& undo = [] {}) {
    if (inStep()) output(lineOf(call));
    try {
      operate();
    } catch (const Failure& failure) {
      undo();
      if (inStep()) recordFailure(call, failure);
      throw;
    }
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
  /// Records an output and begins another stretch.
  void output(const Line& line) {
    lines_.take(line);
    ++stretch_;
  }
  void recordFailure(const ServiceCall& call, const Failure& failure) {
    lines_.take(FailedLine{call.operation, call.socket, failure.number(), failure.what()});
  }

  /// Reads a property. `model` is the answer in a replay; another answer gets a line and changes the model.
  template <class T, class Ask>
  T read(Reading& reading, const ServiceCall& call, T& model, const Ask& ask) {
    if (!inStep()) return ask();
    if (reading.stretch != stretch_) refresh(reading, call, model, ask);
    if (reading.failure) throw Failure(*reading.failure);
    return model;
  }
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
  Instant readClock() {
    if (!inStep()) return inner().clock.now();
    if (clockStretch_ != stretch_) {
      clockStretch_ = stretch_;
      const Instant now = inner().clock.now();
      if (now != now_) {
        now_ = now;
        lines_.take(NowLine{now_, newOffset()});
      }
    }
    return now_;
  }
  /// The offset of local time at the last reading of the clock, if it has changed.
  std::optional<std::int32_t> newOffset() {
    const std::int32_t offset = inner().clock.utcOffset(now_);
    if (offset == utcOffset_) return std::nullopt;
    utcOffset_ = offset;
    return offset;
  }

  LineSink& lines_;
  std::uint64_t stretch_ = 1;  // number of the current stretch between two outputs
  std::uint64_t clockStretch_ = 0;
  Instant now_;
  std::int32_t utcOffset_;  // at the last reading of the clock in a step, in seconds
  int depth_ = 0;           // of nested steps
  std::int16_t period_ = 0;
  Reading periodReading_;
  std::map<SocketId, RecordedSocket*> sockets_;
};

template <class Operate>
auto RecordedSocket::around(const ServiceCall& call, const Operate& operate) {
  using Result = decltype(operate(*inner));
  const auto ask = [&] { return operate(*inner); };
  Reading& reading = readings_[readingOf(call.operation)];
  if constexpr (std::is_void_v<Result>) {
    if (call.operation == Operation::Fetch) return fetch(call);
    if (!changesSettings(call.operation)) return recorder_.perform(call, ask);
    PlainSocket::Settings before = model_.settings;
    operate(model_);
    recorder_.perform(call, ask, [&] { model_.restore(call.operation, std::move(before)); });
  } else if constexpr (std::is_same_v<Result, std::string_view>) {
    return recorder_.read(reading, call, received_, ask);
  } else if constexpr (std::is_same_v<Result, std::string>) {
    return recorder_.read(reading, call, model_.text(call.operation), ask);
  } else {
    // The engine fetches whenever bytes wait, so a replay infers waiting bytes from the fetch. Their number
    // is therefore not recorded, and the engine only learns whether any wait.
    const auto askIfAny = [&] { return anyWaiting_ = operate(*inner) >= 1 ? 1 : 0; };
    if (call.operation == Operation::BytesWaiting)
      return recorder_.read(reading, call, anyWaiting_, askIfAny);
    return recorder_.read(reading, call, model_.number(call.operation), ask);
  }
}

void RecordedSocket::fetch(const ServiceCall& call) {
  received_ = {};
  recorder_.perform(call, [&] { inner->fetch(); });
  const auto ask = [&] { return received_ = inner->receivedText(); };
  const ServiceCall read{Operation::ReceivedText, call.socket};
  try {
    const std::string_view bytes = recorder_.read(readings_[readingOf(read.operation)], read, received_, ask);
    if (recorder_.inStep()) recorder_.lines_.take(FetchedLine{bytes, call.socket});
  } catch (const Failure&) {
    // The engine gets this failure when it reads the text.
  }
}

}  // namespace

Services ServicesRecorder::wrap(const Services& services) {
  const auto recorder = std::make_shared<Recorder>(services, *lines_);
  observer_ = {recorder, &recorder->observer()};
  return recorder->services();
}

void ServicesRecorder::watch(Library& library) {
  library.observer = observer_.get();
}

}  // namespace quarnex::recording
