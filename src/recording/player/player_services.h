// The services of an engine that a recording is played to: each call goes to its course, each read to the
// plain model.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "recording/format/plain_model.h"
#include "recording/player/course.h"
#include "services/observer.h"
#include "services/socket_service.h"
#include "services/text_file.h"
#include "services/timer_service.h"
#include "services/wall_clock.h"

namespace quarnex::recording {

class PlayedSockets final : public SocketService {
 public:
  PlayedSockets(Course& course, PlainModel& model) : course_(course), model_(model) {}
  std::unique_ptr<SocketInstance> create(SocketArray array, std::int16_t index,
                                         SocketEvents& events) override;
  /// Brings a socket event to the engine; nobody hears one that comes before the first instance is created.
  void deliver(const EventLine& event) const;

 private:
  Course& course_;
  PlainModel& model_;
  SocketEvents* events_ = nullptr;
};

class PlayedTimer final : public TimerService {
 public:
  PlayedTimer(Course& course, PlainModel& model) : course_(course), model_(model) {}
  void setEvents(TimerEvents* events) override { events_ = events; }
  std::int16_t period() override;
  void setPeriod(std::int16_t milliseconds) override;
  void tick() const;

 private:
  Course& course_;
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
  explicit PlayedLog(Course& course) : course_(course) {}
  void create(const std::string& name) override;
  void write(std::string_view) override {}
  void close() override;

 private:
  Course& course_;
};

class PlayedTraces final : public PassingObserver {
 public:
  explicit PlayedTraces(Course& course) : course_(course) {}
  void traced(std::int16_t IdxQuarn, std::string_view text) override {
    PassingObserver::traced(IdxQuarn, text);
    course_.traced({IdxQuarn, text});
  }

 private:
  Course& course_;
};

}  // namespace quarnex::recording
