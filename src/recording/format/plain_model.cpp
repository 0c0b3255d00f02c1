#include "recording/format/plain_model.h"

#include <algorithm>
#include <utility>

#include "quarnex/failure.h"

namespace quarnex::recording {

SocketModel::Status statusOf(SocketState state) {
  switch (state) {
    case kSocketListening:
      return {state, "Listening"};
    case kSocketCalling:
      return {state, "Calling"};
    case kSocketConnected:
      return {state, "Connected"};
    default:
      return {};
  }
}

SocketModel& PlainModel::create(SocketId socket) {
  auto& array = sockets_[static_cast<std::size_t>(socket.array)];
  const auto slot = static_cast<std::size_t>(socket.index);
  if (array.size() <= slot) array.resize(slot + 1);
  if (!array[slot]) array[slot] = std::make_unique<SocketModel>();
  return *array[slot] = SocketModel{};
}

SocketModel* PlainModel::find(SocketId socket) {
  const auto& array = sockets_[static_cast<std::size_t>(socket.array)];
  return std::cmp_less(socket.index, array.size()) && socket.index >= 0
             ? array[static_cast<std::size_t>(socket.index)].get()
             : nullptr;
}

void PlainModel::beginStep(const Line& step) {
  if (const auto* event = std::get_if<EventLine>(&step)) {
    SocketModel* socket = find(event->socket);
    const bool connected = event->event == EventKind::Connect && event->code == 0;
    const bool closed =
        event->event == EventKind::Close || (event->event == EventKind::Connect && !connected);
    if (socket != nullptr && (connected || closed))
      socket->status = statusOf(connected ? kSocketConnected : kSocketClosed);
  }
  const StepStart& start = *stepStartOf(step);
  setClock(start.at, start.utcOffset);
}

bool PlainModel::takeInput(const Line& line) {
  const auto* failed = std::get_if<FailedLine>(&line);
  if (const auto* property = std::get_if<PropertyLine>(&line)) {
    setProperty(*property);
  } else if (const auto* time = std::get_if<NowLine>(&line)) {
    setClock(time->at, time->utcOffset);
  } else if (failed != nullptr && isRead(failed->operation)) {
    failing_.push_back(
        {failed->operation, failed->socket, Failure(failed->number, std::string(failed->description))});
  } else {
    return false;
  }
  return true;
}

void PlainModel::setClock(Instant at, std::optional<std::int32_t> newUtcOffset) {
  now.second = at.second + shift;
  utcOffset = newUtcOffset.value_or(utcOffset);
}

void PlainModel::setProperty(const PropertyLine& line) {
  const auto* number = std::get_if<std::int32_t>(&line.value);
  const auto* text = std::get_if<std::string_view>(&line.value);
  if (line.operation == Operation::Period) period = static_cast<std::int16_t>(*number);
  SocketModel* socket = find(line.socket);
  if (socket == nullptr) return;
  switch (line.operation) {
    case Operation::State:
      socket->status.state = *number;
      return;
    case Operation::StatusText:
      socket->status.text = *text;
      return;
    case Operation::LocalPort:
      socket->localPort = *number;
      return;
    case Operation::RemotePort:
      socket->remotePort = *number;
      return;
    case Operation::RemoteHost:
      socket->remoteHost = *text;
      return;
    case Operation::BytesWaiting:
      socket->bytesWaiting = *number;
      return;
    case Operation::ReceivedText:
      socket->receivedText = *text;
      return;
    default:
      return;
  }
}

void PlainModel::failIfListed(Operation property, SocketId socket) const {
  const auto found = std::ranges::find_if(
      failing_, [&](const FailingRead& one) { return one.property == property && one.socket == socket; });
  if (found != failing_.end()) throw Failure(found->failure);
}

}  // namespace quarnex::recording
