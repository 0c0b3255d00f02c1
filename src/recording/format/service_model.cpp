#include "recording/format/service_model.h"

#include <algorithm>
#include <utility>

#include "quarnex/failure.h"

namespace quarnex::recording {

PlainSocket& ServiceModel::create(SocketId socket) {
  auto& array = sockets_[static_cast<std::size_t>(socket.array)];
  const auto slot = static_cast<std::size_t>(socket.index);
  if (array.size() <= slot) array.resize(slot + 1);
  if (!array[slot]) array[slot] = std::make_unique<PlainSocket>();
  return *array[slot] = PlainSocket{};
}

PlainSocket* ServiceModel::find(SocketId socket) {
  const auto& array = sockets_[static_cast<std::size_t>(socket.array)];
  return std::cmp_less(socket.index, array.size()) && socket.index >= 0
             ? array[static_cast<std::size_t>(socket.index)].get()
             : nullptr;
}

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
    failing_.push_back(
        {failed->operation, failed->socket, Failure(failed->number, std::string(failed->description))});
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

void ServiceModel::failIfListed(Operation property, SocketId socket) const {
  const auto found = std::ranges::find_if(
      failing_, [&](const FailingRead& one) { return one.property == property && one.socket == socket; });
  if (found != failing_.end()) throw Failure(found->failure);
}

}  // namespace quarnex::recording
