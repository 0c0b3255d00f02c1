// Records everything that enters and leaves an engine by wrapping its services.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/records/library.h"
#include "recording/format/line_writer.h"
#include "recording/recorder/recording_writer.h"
#include "services/interceptor.h"
#include "services/plain_services.h"
#include "services/services.h"

namespace quarnex::recording {

class Recorder;

class RecordedSocket {
 public:
  explicit RecordedSocket(Recorder& recorder);

  /// Changes the model as an event does.
  void follow(const SocketEvent& event) { model_.follow(event.kind, event.code); }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    using Result = decltype(operate(*inner));
    const auto ask = [&] { return operate(*inner); };
    Reading& reading = readings_[readingOf(call.operation)];
    if constexpr (std::is_void_v<Result>) {
      if (changesSettings(call.operation)) return change(call, operate);
      if (call.operation == Operation::Fetch) return fetch(call);
      writer_.perform(call, ask);
    } else if constexpr (std::is_same_v<Result, std::string_view>) {
      return writer_.read(reading, call, received_, ask);
    } else if constexpr (std::is_same_v<Result, std::string>) {
      return writer_.read(reading, call, model_.text(call.operation), ask);
    } else {
      if (call.operation == Operation::BytesWaiting) return bytesWaiting(call);
      return writer_.read(reading, call, model_.number(call.operation), ask);
    }
  }

  std::unique_ptr<SocketInstance> inner;

 private:
  static constexpr std::size_t readingOf(Operation operation) {
    return isRead(operation) ? static_cast<std::size_t>(operation) - kFirstRead : 0;
  }
  /// Changes the model before the operation, and restores it if the operation fails.
  template <class Operate>
  void change(const ServiceCall& call, const Operate& operate) {
    PlainSocket::Settings before = model_.settings;
    operate(model_);
    writer_.perform(
        call, [&] { operate(*inner); }, [&] { model_.restore(call.operation, std::move(before)); });
  }
  void fetch(const ServiceCall& call);
  std::int32_t bytesWaiting(const ServiceCall& call);

  static constexpr auto kFirstRead = static_cast<std::size_t>(Operation::State);
  static constexpr auto kReads = static_cast<std::size_t>(Operation::ReceivedText) + 1 - kFirstRead;

  RecordingWriter& writer_;
  PlainSocket model_;
  std::int32_t anyWaiting_ = 0;  // 1 if bytes wait
  std::string_view received_;    // in the inner instance, until the next fetch of any
  Reading readings_[kReads];
};

/// Stands between a fresh engine and its services and records everything from the first call on.
///
///     Recorder recorder{platform.services(), lines};
///     Library library{recorder.services()};
///     library.observer = &recorder.observer();
///
/// Between two outputs, the engine gets each property and the clock as they were first read, so that the
/// recording holds everything that the engine read. The sink and the wrapped services outlive the recorder,
/// which outlives the library.
class Recorder final : public Interceptor<Recorder, RecordedSocket> {
 public:
  Recorder(const Services& services, LineSink& lines)
      : Interceptor(services), writer_(services.clock, lines) {}

  /// Observes the library from its first host call on.
  Observer& observer() { return writer_; }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    using Result = decltype(operate());
    if constexpr (std::is_same_v<Result, Instant>) {
      return writer_.now();
    } else if constexpr (std::is_same_v<Result, std::int16_t>) {
      return writer_.read(periodReading_, call, period_, operate);
    } else if constexpr (!std::is_void_v<Result>) {
      return writer_.inStep() ? writer_.utcOffset() : operate();
    } else if (call.operation == Operation::WriteLog) {
      operate();
    } else if (call.operation == Operation::SetPeriod) {
      const std::int16_t before = std::exchange(period_, static_cast<std::int16_t>(call.number()));
      writer_.perform(call, operate, [&] { period_ = before; });
    } else {
      writer_.perform(call, operate);
    }
  }
  template <class Pass>
  void deliver(const SocketEvent& event, const Pass& pass) {
    // The model of the instance changes before the engine learns of the event.
    writer_.beginEvent(event);
    if (RecordedSocket* socket = at(event.socket)) socket->follow(event);
    pass();
    writer_.end();
  }
  template <class Pass>
  void tick(const Pass& pass) {
    writer_.beginTick();
    pass();
    writer_.end();
  }
  void created(SocketId id, RecordedSocket& socket) { at(id) = &socket; }

 private:
  friend class RecordedSocket;

  RecordedSocket*& at(SocketId id);

  RecordingWriter writer_;
  std::int16_t period_ = 0;
  Reading periodReading_;
  std::vector<RecordedSocket*> sockets_[3];  // by array, then by index; nullptr where none was made
};

inline RecordedSocket::RecordedSocket(Recorder& recorder) : writer_(recorder.writer_) {}

/// Wraps the services of one library with a recorder that writes to a sink.
class ServicesRecorder final : public ServicesWrapper {
 public:
  explicit ServicesRecorder(std::shared_ptr<Sink> sink)
      : lines_(std::make_shared<LineWriter>(std::move(sink))) {}
  explicit ServicesRecorder(std::shared_ptr<LineSink> lines) : lines_(std::move(lines)) {}

  Services wrap(const Services& services) override {
    recorder_ = std::make_unique<Recorder>(services, *lines_);
    return recorder_->services();
  }
  void watch(Library& library) override { library.observer = &recorder_->observer(); }

 private:
  std::shared_ptr<LineSink> lines_;
  std::unique_ptr<Recorder> recorder_;
};

}  // namespace quarnex::recording
