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

void ReplayedServices::begin(const Line& step) {
  steps_.push_back(&step);
  model_.beginStep(step);
  model_.letReadsSucceed();
  replay_.takeInputs();
}

void ReplayedServices::raise(const Line& step) const {
  const auto* event = std::get_if<EventLine>(&step);
  if (event == nullptr) return model_.tick();
  if (socketEvents() == nullptr) return;
  quarnex::deliver({event->event, event->socket, event->code, event->handle}, *socketEvents());
}

void ReplayedServices::take(const Line& output) {
  model_.letReadsSucceed();
  replay_.take(output);
  replay_.takeInputs();
}

std::string_view ReplayedServices::hostOf(std::int32_t handle) const {
  for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
    const auto* event = std::get_if<EventLine>(*step);
    if (event != nullptr && event->handle == handle && !event->remoteHost.empty()) return event->remoteHost;
  }
  return "";
}

ReplayedEngine::ReplayedEngine(Replay& replay, ServiceModel& model, ServicesWrapper* wrapper)
    : services_(replay, model),
      library_(wrapper == nullptr ? services_.services() : wrapper->wrap(services_.services())),
      quarn_(library_) {
  if (wrapper != nullptr) wrapper->watch(library_);
  next = library_.observer;
  library_.observer = this;
}

void ReplayedEngine::deliver(const Line& step) {
  services_.begin(step);
  if (const auto* call = std::get_if<CallLine>(&step)) {
    makeCall(*call);
  } else {
    services_.raise(step);
  }
  services_.end();
}

void ReplayedEngine::traced(std::int16_t IdxQuarn, std::string_view text) {
  PassingObserver::traced(IdxQuarn, text);
  services_.take(TraceLine{IdxQuarn, text});
}

void ReplayedEngine::makeCall(const CallLine& call) {
  Value result;
  try {
    result = call.method->call(quarn_, call.parameters);
  } catch (const Failure& failure) {
    return services_.take(FailureLine{failure.number(), failure.what()});
  }
  services_.take(ResultLine{&result});
}

}  // namespace quarnex::recording
