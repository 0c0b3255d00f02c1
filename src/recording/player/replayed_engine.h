// Replays steps to a fresh engine, whose services report every call to a replay and answer as recorded.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "host/engine.h"
#include "quarnex/failure.h"
#include "quarnex/quarn_socket.h"
#include "recording/format/line.h"
#include "services/interceptor.h"
#include "services/observer.h"
#include "services/plain_services.h"
#include "services/services.h"

namespace quarnex::recording {

/// The services' answers: the values last set, unless a line of the recording says otherwise.
class ServiceModel : public PlainServices {
 public:
  explicit ServiceModel(std::int32_t utcOffset) { offset = utcOffset; }

  using PlainServices::create;
  /// Returns a fresh, closed instance; references to an older one of this identifier refer to it, too.
  PlainSocket& create(SocketId socket) { return sockets_[socket] = PlainSocket{}; }
  /// nullptr if it was never created.
  PlainSocket* find(SocketId socket) {
    const auto found = sockets_.find(socket);
    return found == sockets_.end() ? nullptr : &found->second;
  }

  // The effects of lines. Lines about instances that were never created are ignored.
  void beginStep(const Line& step) {
    if (const auto* event = std::get_if<EventLine>(&step)) {
      if (PlainSocket* socket = find(event->socket)) socket->follow(event->event, event->code);
    }
    const StepStart& start = *stepStartOf(step);
    setClock(start.at, start.utcOffset);
  }
  /// Takes a property, a time or the failure of a read. False for any other line.
  bool takeInput(const Line& line) {
    const auto* failed = std::get_if<FailedLine>(&line);
    if (const auto* property = std::get_if<PropertyLine>(&line)) {
      setProperty(*property);
    } else if (const auto* clock = std::get_if<NowLine>(&line)) {
      setClock(clock->at, clock->utcOffset);
    } else if (failed != nullptr && isRead(failed->operation)) {
      failing_.try_emplace({failed->operation, failed->socket}, failed->number,
                           std::string(failed->description));
    } else {
      return false;
    }
    return true;
  }
  /// Reads succeed again.
  void letReadsSucceed() { failing_.clear(); }

  /// Throws the failure that a line gave to this read, if any.
  void read(Operation property, SocketId socket) const {
    if (failing_.empty()) return;
    const auto found = failing_.find({property, socket});
    if (found != failing_.end()) throw Failure(found->second);
  }

  std::int64_t shift = 0;  // seconds by which the clock is ahead of the recording's

 private:
  void setClock(Instant at, std::optional<std::int32_t> newUtcOffset) {
    time.second = at.second + shift;
    offset = newUtcOffset.value_or(offset);
  }
  void setProperty(const PropertyLine& line) {
    const auto* number = std::get_if<std::int32_t>(&line.value);
    if (line.operation == Operation::Period) milliseconds = static_cast<std::int16_t>(*number);
    PlainSocket* socket = shapeOf(line.operation).onSocket ? find(line.socket) : nullptr;
    if (socket == nullptr) return;
    if (line.operation == Operation::BytesWaiting) {
      socket->reportedBytes = *number;
    } else if (number != nullptr) {
      socket->number(line.operation) = *number;
    } else {
      socket->text(line.operation) = std::get<std::string_view>(line.value);
    }
  }

  std::map<SocketId, PlainSocket> sockets_;
  std::map<std::pair<Operation, SocketId>, Failure> failing_;
};

/// The recorded result of an operation.
struct Answer {
  std::optional<Failure> failure;
  std::string fetched;
};

/// The answer that `line` gives to the operation before it, if it is one.
inline std::optional<Answer> answerIn(const Line& line, const OperationLine& call) {
  const auto* failed = std::get_if<FailedLine>(&line);
  if (failed != nullptr && failed->operation == call.operation && failed->socket == call.socket)
    return Answer{Failure(failed->number, std::string(failed->description)), ""};
  const auto* fetched = std::get_if<FetchedLine>(&line);
  if (fetched != nullptr && call.operation == Operation::Fetch && fetched->socket == call.socket)
    return Answer{std::nullopt, std::string(fetched->bytes)};
  return std::nullopt;
}

/// Receives the outputs of a replayed engine and supplies the recorded inputs behind them.
class Replay {
 public:
  virtual ~Replay() = default;

  /// Takes a trace, or the end of a host call.
  virtual void take(const Line& output) = 0;
  /// Replays the steps nested in the operation and returns its answer.
  virtual Answer perform(const OperationLine& output) = 0;
  /// Passes the inputs before the next output to the service model, which the output has already changed.
  virtual void takeInputs() = 0;
  /// True if a fetch from this instance is the next output.
  virtual bool nextIsFetch(SocketId socket) const = 0;
};

class ReplayedEngine;

class ReplayedSocket {
 public:
  explicit ReplayedSocket(ReplayedEngine& engine) : engine_(engine) {}

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate);

  PlainSocket* inner = nullptr;

 private:
  ReplayedEngine& engine_;
};

/// A fresh engine on replayed services, which write no file.
class ReplayedEngine final : private Interceptor<ReplayedEngine, ReplayedSocket>, private PassingObserver {
 public:
  /// `wrapper`, if given, stands between the engine and its services. All arguments outlive the engine.
  ReplayedEngine(Replay& replay, ServiceModel& model, ServicesWrapper* wrapper)
      : Interceptor(model.all()),
        replay_(replay),
        model_(model),
        library_(wrapper == nullptr ? services() : wrapper->wrap(services())),
        quarn_(library_) {
    if (wrapper != nullptr) wrapper->watch(library_);
    next = library_.observer;
    library_.observer = this;
  }

  /// Replays a host call, tick or event to the engine and reports the result of a host call. An event has no
  /// effect before the engine has created an instance.
  void replay(const Line& step) {
    steps_.push_back(&step);
    model_.beginStep(step);
    model_.letReadsSucceed();
    replay_.takeInputs();
    if (const auto* call = std::get_if<CallLine>(&step)) {
      makeCall(*call);
    } else if (const auto* event = std::get_if<EventLine>(&step); event == nullptr) {
      model_.tick();
    } else if (socketEvents() != nullptr) {
      quarnex::deliver({event->event, event->socket, event->code, event->handle}, *socketEvents());
    }
    model_.letReadsSucceed();
    steps_.pop_back();
  }

  Library& library() { return library_; }

 private:
  friend class Interceptor<ReplayedEngine, ReplayedSocket>;
  friend class ReplayedSocket;

  template <class Operate>
  auto around(const ServiceCall& call, const Operate& operate) {
    if constexpr (std::is_void_v<decltype(operate())>) {
      const std::int16_t before = model_.milliseconds;
      operate();
      if (call.operation == Operation::WriteLog) return;
      perform(call, [&](const Answer& answer) {
        if (answer.failure && call.operation == Operation::SetPeriod) model_.milliseconds = before;
      });
    } else {
      model_.read(call.operation, call.socket);
      return operate();
    }
  }
  PlainSocket* makeInner(SocketId id, SocketEvents&) { return &model_.create(id); }
  void traced(std::int16_t IdxQuarn, std::string_view text) override {
    PassingObserver::traced(IdxQuarn, text);
    take(TraceLine{IdxQuarn, text});
  }

  void makeCall(const CallLine& call) {
    Value result;
    try {
      result = call.method->call(quarn_, call.parameters);
    } catch (const Failure& failure) {
      return take(FailureLine{failure.number(), failure.what()});
    }
    take(ResultLine{&result});
  }
  /// Takes an output that is not an operation.
  void take(const Line& output) {
    model_.letReadsSucceed();
    replay_.take(output);
    replay_.takeInputs();
  }
  /// Takes the recorded answer to a call, lets `settle` change the model accordingly, and takes the inputs,
  /// which count from the end of the call on. Throws the failure, if the call failed.
  template <class Settle>
  void perform(const ServiceCall& call, const Settle& settle) {
    model_.letReadsSucceed();
    Answer answer = replay_.perform({call.operation, call.socket, call.argument});
    settle(answer);
    replay_.takeInputs();
    if (answer.failure) throw Failure(*answer.failure);
  }
  /// The remote host of the incoming call with this handle; "" if there is none in the current steps.
  std::string_view hostOf(std::int32_t handle) const {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
      const auto* event = std::get_if<EventLine>(*step);
      if (event != nullptr && event->handle == handle && !event->remoteHost.empty()) return event->remoteHost;
    }
    return "";
  }

  Replay& replay_;
  ServiceModel& model_;
  std::vector<const Line*> steps_;  // in progress, innermost last
  Engine library_;
  QuarnSocket quarn_;
};

template <class Operate>
auto ReplayedSocket::around(const ServiceCall& call, const Operate& operate) {
  using Result = decltype(operate(*inner));
  if constexpr (std::is_void_v<Result>) {
    if (call.operation == Operation::Fetch) {
      return engine_.perform(call, [&](Answer& answer) {
        inner->waiting = std::move(answer.fetched);
        inner->fetch();
      });
    }
    PlainSocket::Settings before = inner->settings;
    operate(*inner);
    if (call.operation == Operation::Attach) inner->settings.remoteHost = engine_.hostOf(call.number());
    engine_.perform(call, [&](const Answer& answer) {
      if (answer.failure && changesSettings(call.operation))
        inner->restore(call.operation, std::move(before));
    });
  } else {
    engine_.model_.read(call.operation, call.socket);
    if constexpr (std::is_same_v<Result, std::int32_t>) {
      const bool inferred = call.operation == Operation::BytesWaiting && !inner->reportedBytes;
      if (inferred && engine_.replay_.nextIsFetch(call.socket)) return 1;
    }
    return operate(*inner);
  }
}

}  // namespace quarnex::recording
