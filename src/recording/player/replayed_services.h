// Provides services to a replayed engine: compares every call with the recording and answers as recorded.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "recording/format/service_model.h"
#include "recording/player/replay.h"
#include "services/interceptor.h"
#include "services/observer.h"

namespace quarnex::recording {

class PlayedServices;

class PlayedSocket {
 public:
  explicit PlayedSocket(PlayedServices& services);

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    using Result = decltype(operate(*inner));
    if constexpr (std::is_void_v<Result>) {
      if (call.operation == Operation::Fetch) return fetch(call);
      PlainSocket::Settings before = inner->settings;
      operate(*inner);
      perform(call, std::move(before));
    } else {
      model_.read(call.operation, call.socket);
      if constexpr (std::is_same_v<Result, std::int32_t>) {
        if (call.operation == Operation::BytesWaiting && bytesAreFetchedNext(call.socket)) return 1;
      }
      return operate(*inner);
    }
  }

  PlainSocket* inner = nullptr;

 private:
  void fetch(const ServiceCall& call);
  /// Takes the recorded outcome; a failure takes back what the call has changed since `before`.
  void perform(const ServiceCall& call, PlainSocket::Settings&& before);
  bool bytesAreFetchedNext(SocketId id) const { return !inner->reportedBytes && course_.nextIsFetch(id); }

  Course& course_;
  PlainModel& model_;
};

/// Writes no file. `course` and `model` outlive it.
class PlayedServices final : public Interceptor<PlayedServices, PlayedSocket> {
 public:
  PlayedServices(Course& course, PlainModel& model)
      : Interceptor(model.all()), course_(course), model_(model) {}

  /// Delivers a recorded event or tick; without effect before the engine has created its first instance.
  void raise(const EventLine& event) const;
  void raiseTick() const { model_.tick(); }

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    if constexpr (std::is_void_v<decltype(operate())>) {
      const std::int16_t before = model_.milliseconds;
      operate();
      if (call.operation != Operation::WriteLog) perform(call, before);
    } else {
      model_.read(call.operation, call.socket);
      return operate();
    }
  }
  PlainSocket* makeInner(SocketId id, SocketEvents&) { return &model_.create(id); }

 private:
  friend class PlayedSocket;

  void perform(const ServiceCall& call, std::int16_t periodBefore);

  Course& course_;
  PlainModel& model_;
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

inline PlayedSocket::PlayedSocket(PlayedServices& services)
    : course_(services.course_), model_(services.model_) {}

}  // namespace quarnex::recording
