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

void PlainModel::setClock(const Line& stepOrNow) {
  now = stepOrNow.at;
  utcOffset = stepOrNow.utcOffset.value_or(utcOffset);
}

void PlainModel::setProperty(const Line& line) {
  if (line.operation == Operation::Period) period = static_cast<std::int16_t>(line.number);
  SocketModel* socket = find(line.socket);
  if (socket == nullptr) return;
  switch (line.operation) {
    case Operation::State:
      socket->status.state = line.number;
      return;
    case Operation::StatusText:
      socket->status.text = line.text;
      return;
    case Operation::LocalPort:
      socket->localPort = line.number;
      return;
    case Operation::RemotePort:
      socket->remotePort = line.number;
      return;
    case Operation::RemoteHost:
      socket->remoteHost = line.text;
      return;
    case Operation::BytesWaiting:
      socket->bytesWaiting = line.number;
      return;
    case Operation::ReceivedText:
      socket->receivedText = line.text;
      return;
    default:
      return;
  }
}

void PlainModel::happened(const Line& event) {
  SocketModel* socket = find(event.socket);
  if (socket == nullptr) return;
  if (event.event == EventKind::Close) socket->status = statusOf(kSocketClosed);
  if (event.event == EventKind::Connect) {
    socket->status = statusOf(event.number == 0 ? kSocketConnected : kSocketClosed);
  }
}

void PlainModel::failIfListed(Operation property, SocketId socket) const {
  const auto found = std::ranges::find_if(
      failing_, [&](const Line& line) { return line.operation == property && line.socket == socket; });
  if (found != failing_.end()) throw Failure(found->number, found->text);
}

}  // namespace quarnex::recording
