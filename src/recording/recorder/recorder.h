// The flight recorder: services that write down all that enters and leaves the engine, and pass it on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/records/library.h"
#include "recording/recorder/recorded_socket.h"
#include "recording/recorder/tape.h"
#include "services/observer.h"

namespace quarnex::recording {

/// Stands between a fresh engine and its services and writes a recording of everything, from the first call
/// on.
///
///     Recorder recorder{platform.services(), lines};
///     Library library{recorder.services()};
///     recorder.watch(library);
///
/// Between two outputs the engine gets each property and the clock as they were read first, so that the
/// recording tells all that it saw. The sink and the wrapped services outlive the recorder, the recorder
/// outlives the library.
class Recorder final : public SocketService,
                       public TimerService,
                       public WallClock,
                       public TextFile,
                       public SocketEvents,
                       public TimerEvents,
                       public Observer {
 public:
  Recorder(const Services& services, LineSink& lines);
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  Services services() { return {*this, *this, *this, *this}; }
  /// Before the first host call.
  void watch(Library& library) { library.observer = this; }

 private:
  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;

  void setEvents(TimerEvents* events) override;
  std::int16_t period() override;
  void setPeriod(std::int16_t milliseconds) override;

  Instant now() override { return tape_.now(); }
  std::int32_t utcOffset(Instant instant) override { return tape_.utcOffset(instant); }

  void create(const std::string& name) override;
  void write(std::string_view line) override { inner_.logFile.write(line); }
  void close() override;

  void onConnect(SocketArray array, std::int16_t index, std::int16_t code) override;
  void onClose(SocketArray array, std::int16_t index, std::int16_t code) override;
  void onReceive(SocketArray array, std::int16_t index, std::int16_t code) override;
  void onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) override;
  void onTick() override;

  void traced(std::int16_t IdxQuarn, std::string_view text) override { tape_.trace(IdxQuarn, text); }
  void called(const Method& method, std::span<const Value> parameters) override;
  void returned(const Value& result) override;
  void failed(const Failure& failure) override;

  /// What an event makes of the model of an instance, before the engine hears of it.
  void become(SocketId socket, SocketState state);

  Services inner_;
  Tape tape_;
  Reading<std::int32_t> period_;
  std::int32_t periodModel_ = 0;
  SocketEvents* socketEvents_ = nullptr;
  TimerEvents* timerEvents_ = nullptr;
  std::vector<RecordedSocket*> sockets_[3];  // by array, then by index; nullptr where none was made
};

}  // namespace quarnex::recording
