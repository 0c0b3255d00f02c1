// Writes down all that enters and leaves an engine, by wrapping its services, and passes it on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/records/library.h"
#include "recording/recorder/recording_writer.h"
#include "services/interceptor.h"
#include "services/observer.h"
#include "services/plain_services.h"

namespace quarnex::recording {

class Recorder;

class RecordedSocket {
 public:
  explicit RecordedSocket(Recorder& recorder);

  /// Changes the model as an event does.
  void become(SocketState state) { model_.become(state); }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    using Result = decltype(operate(*inner));
    const auto ask = [&] { return operate(*inner); };
    Reading& reading = readings_[readingOf(call.operation)];
    if constexpr (std::is_void_v<Result>) {
      if (changesSettings(call.operation)) return change(call, operate);
      if (call.operation == Operation::Fetch) return fetch(call);
      tape_.perform(call, ask);
    } else if constexpr (std::is_same_v<Result, std::string_view>) {
      return tape_.read(reading, call, received_, ask);
    } else if constexpr (std::is_same_v<Result, std::string>) {
      return tape_.read(reading, call, model_.text(call.operation), ask);
    } else {
      if (call.operation == Operation::BytesWaiting) return bytesWaiting(call);
      return tape_.read(reading, call, model_.number(call.operation), ask);
    }
  }

  std::unique_ptr<SocketInstance> inner;

 private:
  static constexpr std::size_t readingOf(Operation operation) {
    return isRead(operation) ? static_cast<std::size_t>(operation) - kFirstRead : 0;
  }
  /// Changes the model at once, and back if the operation fails.
  template <class Operate>
  void change(const ServiceCall& call, const Operate& operate) {
    Undo undo(model_, call.operation);
    operate(model_);
    tape_.perform(call, [&] { operate(*inner); });
    undo.model = nullptr;
  }
  void fetch(const ServiceCall& call);
  std::int32_t bytesWaiting(const ServiceCall& call);

  // Restores the model on destruction, unless it is cleared first. Catching the failure would take longer
  // than the rest of the operation.
  struct Undo {
    Undo(PlainSocket& of, Operation changing) : model(&of), operation(changing), before(of.settings) {}
    ~Undo() {
      if (model != nullptr) model->restore(operation, std::move(before));
    }
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;

    PlainSocket* model;
    Operation operation;
    PlainSocket::Settings before;
  };
  static constexpr auto kFirstRead = static_cast<std::size_t>(Operation::State);
  static constexpr auto kReads = static_cast<std::size_t>(Operation::ReceivedText) + 1 - kFirstRead;

  Tape& tape_;
  PlainSocket model_;
  std::int32_t anyWaiting_ = 0;  // 1 if bytes wait
  std::string_view received_;    // in the inner instance, until the next fetch of any
  Reading readings_[kReads];
};

/// Stands between a fresh engine and its services and writes a recording of everything, from the first call
/// on.
///
///     Recorder recorder{platform.services(), lines};
///     Library library{recorder.services()};
///     recorder.watch(library);
///
/// Between two outputs the engine gets each property and the clock as they were read first, so that the
/// recording holds all that the engine read. The sink and the wrapped services outlive the recorder, the
/// recorder outlives the library.
class Recorder final : public Interceptor<Recorder, RecordedSocket>, public Observer {
 public:
  Recorder(const Services& services, LineSink& lines) : Interceptor(services), tape_(services.clock, lines) {}

  /// Before the first host call.
  void watch(Library& library) { library.observer = this; }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    using Result = decltype(operate());
    if constexpr (std::is_same_v<Result, Instant>) {
      return tape_.now();
    } else if constexpr (std::is_same_v<Result, std::int16_t>) {
      return tape_.read(periodReading_, call, period_, operate);
    } else if constexpr (!std::is_void_v<Result>) {
      return tape_.inStep() ? tape_.utcOffset() : operate();
    } else if (call.operation == Operation::WriteLog) {
      operate();
    } else if (call.operation == Operation::SetPeriod) {
      recordPeriod(call);
    } else {
      tape_.perform(call, operate);
    }
  }
  template <class Pass>
  void deliver(const SocketEvent& event, const Pass& pass) {
    beginEvent(event);
    pass();
    tape_.end();
  }
  template <class Pass>
  void tick(const Pass& pass) {
    tape_.beginTick();
    pass();
    tape_.end();
  }
  void created(SocketId id, RecordedSocket& socket);

  void traced(std::int16_t IdxQuarn, std::string_view text) override { tape_.trace(IdxQuarn, text); }
  void called(const Method& method, std::span<const Value> parameters) override {
    tape_.beginCall(method, parameters);
  }
  void returned(const Value& result) override { tape_.endCall(result); }
  void failed(const Failure& failure) override { tape_.endCall(failure); }

 private:
  friend class RecordedSocket;

  void recordPeriod(const ServiceCall& call);
  /// Writes the event and changes the model of its instance, before the engine learns of it.
  void beginEvent(const SocketEvent& event);

  Tape tape_;
  std::int16_t period_ = 0;
  Reading periodReading_;
  std::vector<RecordedSocket*> sockets_[3];  // by array, then by index; nullptr where none was made
};

inline RecordedSocket::RecordedSocket(Recorder& recorder) : tape_(recorder.tape_) {}

}  // namespace quarnex::recording
