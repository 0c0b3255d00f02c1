#include "recording/player/replayed_engine.h"

namespace quarnex::recording {

std::optional<Answer> answerIn(const Line& line, const OperationLine& call) {
  const auto* failed = std::get_if<FailedLine>(&line);
  if (failed != nullptr && failed->operation == call.operation && failed->socket == call.socket)
    return Answer{Failure(failed->number, std::string(failed->description)), ""};
  const auto* fetched = std::get_if<FetchedLine>(&line);
  if (fetched != nullptr && call.operation == Operation::Fetch && fetched->socket == call.socket)
    return Answer{std::nullopt, std::string(fetched->bytes)};
  return std::nullopt;
}

ReplayedEngine::ReplayedEngine(Replay& replay, ServiceModel& model, ServicesWrapper* wrapper)
    : Interceptor(model.all()),
      replay_(replay),
      model_(model),
      library_(wrapper == nullptr ? services() : wrapper->wrap(services())),
      quarn_(library_) {
  if (wrapper != nullptr) wrapper->watch(library_);
  next = library_.observer;
  library_.observer = this;
}

void ReplayedEngine::replay(const Line& step) {
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

void ReplayedEngine::makeCall(const CallLine& call) {
  Value result;
  try {
    result = call.method->call(quarn_, call.parameters);
  } catch (const Failure& failure) {
    return take(FailureLine{failure.number(), failure.what()});
  }
  take(ResultLine{&result});
}

void ReplayedEngine::traced(std::int16_t IdxQuarn, std::string_view text) {
  PassingObserver::traced(IdxQuarn, text);
  take(TraceLine{IdxQuarn, text});
}

void ReplayedEngine::take(const Line& output) {
  model_.letReadsSucceed();
  replay_.take(output);
  replay_.takeInputs();
}

std::string_view ReplayedEngine::hostOf(std::int32_t handle) const {
  for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
    const auto* event = std::get_if<EventLine>(*step);
    if (event != nullptr && event->handle == handle && !event->remoteHost.empty()) return event->remoteHost;
  }
  return "";
}

}  // namespace quarnex::recording
