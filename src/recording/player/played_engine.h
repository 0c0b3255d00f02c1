// A fresh engine whose surroundings are played.
#pragma once

#include "host/engine.h"
#include "quarnex/quarn_socket.h"
#include "recording/format/plain_model.h"
#include "recording/player/course.h"
#include "recording/player/player_services.h"
#include "services/services_wrapper.h"

namespace quarnex::recording {

class PlayedEngine {
 public:
  /// `wrapper`, if there is one, stands between the engine and its services. All outlive the engine.
  PlayedEngine(Course& course, PlainModel& model, ServicesWrapper* wrapper = nullptr);

  /// Brings a step to the engine; of a host call, the course hears how it ended.
  void deliver(const Line& step);

  Library& library() { return library_; }

 private:
  void call(const Line& step);

  Course& course_;
  PlayedSockets sockets_;
  PlayedTimer timer_;
  PlayedClock clock_;
  PlayedLog log_;
  PlayedTraces traces_;
  Engine library_;
  QuarnSocket quarn_;
};

}  // namespace quarnex::recording
