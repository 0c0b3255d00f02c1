#include "recording/format/service_model.h"

namespace quarnex::recording {

void ServiceModel::beginStep(const Line& step) {
  if (const auto* event = std::get_if<EventLine>(&step)) {
    if (PlainSocket* socket = find(event->socket)) socket->follow(event->event, event->code);
  }
  const StepStart& start = *stepStartOf(step);
  setClock(start.at, start.utcOffset);
}

bool ServiceModel::takeInput(const Line& line) {
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

void ServiceModel::setClock(Instant at, std::optional<std::int32_t> newUtcOffset) {
  time.second = at.second + shift;
  offset = newUtcOffset.value_or(offset);
}

void ServiceModel::setProperty(const PropertyLine& line) {
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

}  // namespace quarnex::recording
