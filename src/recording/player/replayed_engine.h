// A fresh engine on replayed services.
#pragma once

#include "host/engine.h"
#include "quarnex/quarn_socket.h"
#include "recording/format/service_model.h"
#include "recording/player/replay.h"
#include "recording/player/replayed_services.h"
#include "services/services_wrapper.h"

namespace quarnex::recording {

class PlayedEngine {
 public:
  /// `wrapper`, if given, stands between the engine and its services. All arguments outlive the engine.
  PlayedEngine(Course& course, PlainModel& model, ServicesWrapper* wrapper = nullptr);

  /// Delivers a step to the engine and reports the result of a host call to the course.
  void deliver(const Line& step);

  Library& library() { return library_; }

 private:
  void makeCall(const CallLine& call);

  Course& course_;
  PlayedServices services_;
  PlayedTraces traces_;
  Engine library_;
  QuarnSocket quarn_;
};

}  // namespace quarnex::recording
