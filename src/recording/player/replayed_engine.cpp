#include "recording/player/replayed_engine.h"

#include <ranges>

namespace quarnex::recording {
namespace {

Services wrapped(const Services& services, ServicesWrapper* wrapper) {
  return wrapper == nullptr ? services : wrapper->wrap(services);
}

}  // namespace

std::optional<Answer> answerIn(const Line& line, const OperationLine& call) {
  const auto* failed = std::get_if<FailedLine>(&line);
  if (failed != nullptr && failed->operation == call.operation && failed->socket == call.socket)
    return Answer{Failure(failed->number, std::string(failed->description)), ""};
  const auto* fetched = std::get_if<FetchedLine>(&line);
  if (fetched != nullptr && call.operation == Operation::Fetch && fetched->socket == call.socket)
    return Answer{std::nullopt, std::string(fetched->bytes)};
  return std::nullopt;
}

void ReplayedSocket::fetch(const ServiceCall& call) {
  Answer answer = services_.answerTo(call);
  inner->waiting = std::move(answer.fetched);
  inner->fetch();
  services_.finish(answer);
}

void ReplayedSocket::perform(const ServiceCall& call, PlainSocket::Settings&& before) {
  if (call.operation == Operation::Attach) inner->settings.remoteHost = services_.hostOf(call.number());
  const Answer answer = services_.answerTo(call);
  if (answer.failure && changesSettings(call.operation)) inner->restore(call.operation, std::move(before));
  services_.finish(answer);
}

void ReplayedServices::begin(const Line& step) {
  steps_.push_back(&step);
  model_.beginStep(step);
  model_.letReadsSucceed();
  replay_.takeInputs();
}

void ReplayedServices::end() {
  model_.letReadsSucceed();
  steps_.pop_back();
}

void ReplayedServices::raise(const EventLine& event) const {
  if (socketEvents() == nullptr) return;
  quarnex::deliver({event.event, event.socket, event.code, event.handle}, *socketEvents());
}

void ReplayedServices::take(const Line& output) {
  model_.letReadsSucceed();
  replay_.take(output);
  replay_.takeInputs();
}

Answer ReplayedServices::answerTo(const ServiceCall& call) {
  model_.letReadsSucceed();
  return replay_.perform({call.operation, call.socket, call.argument});
}

void ReplayedServices::finish(const Answer& answer) {
  replay_.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

void ReplayedServices::perform(const ServiceCall& call, std::int16_t periodBefore) {
  const Answer answer = answerTo(call);
  if (answer.failure && call.operation == Operation::SetPeriod) model_.milliseconds = periodBefore;
  finish(answer);
}

std::string_view ReplayedServices::hostOf(std::int32_t handle) const {
  for (const Line* step : std::views::reverse(steps_)) {
    const auto* event = std::get_if<EventLine>(step);
    if (event != nullptr && event->handle == handle && !event->remoteHost.empty()) return event->remoteHost;
  }
  return "";
}

ReplayedEngine::ReplayedEngine(Replay& replay, ServiceModel& model, ServicesWrapper* wrapper)
    : services_(replay, model), library_(wrapped(services_.services(), wrapper)), quarn_(library_) {
  if (wrapper != nullptr) wrapper->watch(library_);
  next = library_.observer;
  library_.observer = this;
}

void ReplayedEngine::deliver(const Line& step) {
  services_.begin(step);
  if (const auto* event = std::get_if<EventLine>(&step)) {
    services_.raise(*event);
  } else if (const auto* call = std::get_if<CallLine>(&step)) {
    makeCall(*call);
  } else {
    services_.raiseTick();
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
