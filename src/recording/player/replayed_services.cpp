#include "recording/player/replayed_services.h"

#include "quarnex/failure.h"

namespace quarnex::recording {
namespace {

OperationLine lineOf(const ServiceCall& call) {
  return {call.operation, call.socket, call.argument};
}

// The inputs behind the call count from its end on, whether it failed or not.
void finish(Course& course, const Answer& answer) {
  course.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

}  // namespace

void PlayedSocket::fetch(const ServiceCall& call) {
  Answer answer = course_.performed(lineOf(call));
  inner->waiting = std::move(answer.fetched);
  inner->fetch();
  finish(course_, answer);
}

void PlayedSocket::perform(const ServiceCall& call, PlainSocket::Settings&& before) {
  if (call.operation == Operation::Attach) inner->settings.remoteHost = course_.hostOf(call.number());
  const Answer answer = course_.performed(lineOf(call));
  if (answer.failure && changesSettings(call.operation)) inner->restore(call.operation, std::move(before));
  finish(course_, answer);
}

void PlayedServices::raise(const EventLine& event) const {
  if (socketEvents() == nullptr) return;
  quarnex::deliver({event.event, event.socket, event.code, event.handle}, *socketEvents());
}

void PlayedServices::perform(const ServiceCall& call, std::int16_t periodBefore) {
  const Answer answer = course_.performed(lineOf(call));
  if (answer.failure && call.operation == Operation::SetPeriod) model_.milliseconds = periodBefore;
  finish(course_, answer);
}

}  // namespace quarnex::recording
