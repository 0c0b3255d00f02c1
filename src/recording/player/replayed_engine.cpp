#include "recording/player/replayed_engine.h"

#include "quarnex/failure.h"

namespace quarnex::recording {
namespace {

Services wrapped(const Services& services, ServicesWrapper* wrapper) {
  return wrapper == nullptr ? services : wrapper->wrap(services);
}

}  // namespace

PlayedEngine::PlayedEngine(Course& course, PlainModel& model, ServicesWrapper* wrapper)
    : course_(course),
      services_(course, model),
      traces_(course),
      library_(wrapped(services_.services(), wrapper)),
      quarn_(library_) {
  if (wrapper != nullptr) wrapper->watch(library_);
  traces_.next = library_.observer;
  library_.observer = &traces_;
}

void PlayedEngine::deliver(const Line& step) {
  if (const auto* event = std::get_if<EventLine>(&step)) {
    services_.raise(*event);
  } else if (const auto* call = std::get_if<CallLine>(&step)) {
    makeCall(*call);
  } else {
    services_.raiseTick();
  }
}

void PlayedEngine::makeCall(const CallLine& call) {
  Value result;
  try {
    result = call.method->call(quarn_, call.parameters);
  } catch (const Failure& failure) {
    return course_.failed(failure);
  }
  course_.returned(result);
}

}  // namespace quarnex::recording
