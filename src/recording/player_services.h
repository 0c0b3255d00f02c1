// The services of an engine that a recording is played to: each call goes to the script, each read to the
// plain model.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "component/observer.h"
#include "component/wall_clock.h"
#include "diagnostics/text_file.h"
#include "link/socket_service.h"
#include "link/timer_service.h"
#include "recording/plain_model.h"
#include "recording/script.h"

namespace quarnex::recording {

class PlayedSockets final : public SocketService {
 public:
  PlayedSockets(Script& script, PlainModel& model) : script_(script), model_(model) {}
  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;
  /// Brings a socket event to the engine; nobody hears one that comes before the first instance is created.
  void deliver(const Line& event) const;

 private:
  Script& script_;
  PlainModel& model_;
  SocketEvents* events_ = nullptr;
};

class PlayedTimer final : public TimerService {
 public:
  PlayedTimer(Script& script, PlainModel& model) : script_(script), model_(model) {}
  void setEvents(TimerEvents* events) override { events_ = events; }
  std::int16_t period() override;
  void setPeriod(std::int16_t milliseconds) override;
  void tick() const;

 private:
  Script& script_;
  PlainModel& model_;
  TimerEvents* events_ = nullptr;
};

class PlayedClock final : public WallClock {
 public:
  explicit PlayedClock(const PlainModel& model) : model_(model) {}
  Instant now() override { return model_.now; }
  std::int32_t utcOffset(Instant) override { return model_.utcOffset; }

 private:
  const PlainModel& model_;
};

/// Writes no file.
class PlayedLog final : public TextFile {
 public:
  explicit PlayedLog(Script& script) : script_(script) {}
  void create(const std::string& name) override;
  void write(std::string_view) override {}
  void close() override;

 private:
  Script& script_;
};

class PlayedTraces final : public Observer {
 public:
  explicit PlayedTraces(Script& script) : script_(script) {}
  void traced(std::int16_t IdxQuarn, std::string_view text) override { script_.traced({IdxQuarn, text}); }

 private:
  Script& script_;
};

}  // namespace quarnex::recording
