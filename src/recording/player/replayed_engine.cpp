#include "recording/player/replayed_engine.h"

#include "quarnex/failure.h"

namespace quarnex::recording {
namespace {

OperationLine lineOf(const ServiceCall& call) {
  return {call.operation, call.socket, call.argument};
}

// The inputs behind the call count from its end on, whether it failed or not.
void finish(Replay& replay, const Answer& answer) {
  replay.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

Services wrapped(const Services& services, ServicesWrapper* wrapper) {
  return wrapper == nullptr ? services : wrapper->wrap(services);
}

}  // namespace

void ReplayedSocket::fetch(const ServiceCall& call) {
  Answer answer = replay_.performed(lineOf(call));
  inner->waiting = std::move(answer.fetched);
  inner->fetch();
  finish(replay_, answer);
}

void ReplayedSocket::perform(const ServiceCall& call, PlainSocket::Settings&& before) {
  if (call.operation == Operation::Attach) inner->settings.remoteHost = replay_.hostOf(call.number());
  const Answer answer = replay_.performed(lineOf(call));
  if (answer.failure && changesSettings(call.operation)) inner->restore(call.operation, std::move(before));
  finish(replay_, answer);
}

void ReplayedServices::raise(const EventLine& event) const {
  if (socketEvents() == nullptr) return;
  quarnex::deliver({event.event, event.socket, event.code, event.handle}, *socketEvents());
}

void ReplayedServices::perform(const ServiceCall& call, std::int16_t periodBefore) {
  const Answer answer = replay_.performed(lineOf(call));
  if (answer.failure && call.operation == Operation::SetPeriod) model_.milliseconds = periodBefore;
  finish(replay_, answer);
}

ReplayedEngine::ReplayedEngine(Replay& replay, ServiceModel& model, ServicesWrapper* wrapper)
    : replay_(replay),
      services_(replay, model),
      traces_(replay),
      library_(wrapped(services_.services(), wrapper)),
      quarn_(library_) {
  if (wrapper != nullptr) wrapper->watch(library_);
  traces_.next = library_.observer;
  library_.observer = &traces_;
}

void ReplayedEngine::deliver(const Line& step) {
  if (const auto* event = std::get_if<EventLine>(&step)) {
    services_.raise(*event);
  } else if (const auto* call = std::get_if<CallLine>(&step)) {
    makeCall(*call);
  } else {
    services_.raiseTick();
  }
}

void ReplayedEngine::makeCall(const CallLine& call) {
  Value result;
  try {
    result = call.method->call(quarn_, call.parameters);
  } catch (const Failure& failure) {
    return replay_.failed(failure);
  }
  replay_.returned(result);
}

}  // namespace quarnex::recording
