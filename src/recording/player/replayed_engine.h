// Replays steps to a fresh engine, whose services report every call to a replay and answer as recorded.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "host/engine.h"
#include "quarnex/quarn_socket.h"
#include "recording/format/service_model.h"
#include "recording/player/replay.h"
#include "services/interceptor.h"
#include "services/observer.h"
#include "services/services.h"

namespace quarnex::recording {

class ReplayedServices;

class ReplayedSocket {
 public:
  explicit ReplayedSocket(ReplayedServices& services);

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
  bool bytesAreFetchedNext(SocketId id) const { return !inner->reportedBytes && replay_.nextIsFetch(id); }

  Replay& replay_;
  ServiceModel& model_;
};

/// Writes no file. `replay` and `model` outlive it.
class ReplayedServices final : public Interceptor<ReplayedServices, ReplayedSocket> {
 public:
  ReplayedServices(Replay& replay, ServiceModel& model)
      : Interceptor(model.all()), replay_(replay), model_(model) {}

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
  friend class ReplayedSocket;

  void perform(const ServiceCall& call, std::int16_t periodBefore);

  Replay& replay_;
  ServiceModel& model_;
};

class ReplayedTraces final : public PassingObserver {
 public:
  explicit ReplayedTraces(Replay& replay) : replay_(replay) {}
  void traced(std::int16_t IdxQuarn, std::string_view text) override {
    PassingObserver::traced(IdxQuarn, text);
    replay_.traced({IdxQuarn, text});
  }

 private:
  Replay& replay_;
};

inline ReplayedSocket::ReplayedSocket(ReplayedServices& services)
    : replay_(services.replay_), model_(services.model_) {}

/// A fresh engine on replayed services.
class ReplayedEngine {
 public:
  /// `wrapper`, if given, stands between the engine and its services. All arguments outlive the engine.
  ReplayedEngine(Replay& replay, ServiceModel& model, ServicesWrapper* wrapper = nullptr);

  /// Delivers a step to the engine and reports the result of a host call to the replay.
  void deliver(const Line& step);

  Library& library() { return library_; }

 private:
  void makeCall(const CallLine& call);

  Replay& replay_;
  ReplayedServices services_;
  ReplayedTraces traces_;
  Engine library_;
  QuarnSocket quarn_;
};

}  // namespace quarnex::recording
