#include "recording/player/played_engine.h"

#include "quarnex/failure.h"

namespace quarnex::recording {
namespace {

Services wrapped(const Services& services, ServicesWrapper* wrapper) {
  return wrapper == nullptr ? services : wrapper->wrap(services);
}

}  // namespace

PlayedEngine::PlayedEngine(Course& course, PlainModel& model, ServicesWrapper* wrapper)
    : course_(course),
      sockets_(course, model),
      timer_(course, model),
      clock_(model),
      log_(course),
      traces_(course),
      library_(wrapped({sockets_, timer_, clock_, log_}, wrapper)),
      quarn_(library_) {
  if (wrapper != nullptr) wrapper->watch(library_);
  traces_.next = library_.observer;
  library_.observer = &traces_;
}

void PlayedEngine::deliver(const Line& step) {
  switch (step.kind) {
    case LineKind::Tick:
      return timer_.tick();
    case LineKind::Event:
      return sockets_.deliver(step);
    default:
      return call(step);
  }
}

void PlayedEngine::call(const Line& step) {
  Value result;
  try {
    result = step.method->call(quarn_, step.values);
  } catch (const Failure& failure) {
    return course_.failed(failure);
  }
  course_.returned(result);
}

}  // namespace quarnex::recording
