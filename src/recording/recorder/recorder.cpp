#include "recording/recorder/recorder.h"

namespace quarnex::recording {

// The engine fetches whenever bytes wait, so a replay infers waiting bytes from the fetch. Their number is
// therefore not recorded, and the engine only learns whether any wait.
std::int32_t RecordedSocket::bytesWaiting(const ServiceCall& call) {
  const auto ask = [&] { return anyWaiting_ = inner->bytesWaiting() >= 1 ? 1 : 0; };
  return writer_.read(readings_[readingOf(Operation::BytesWaiting)], call, anyWaiting_, ask);
}

void RecordedSocket::fetch(const ServiceCall& call) {
  received_ = {};
  writer_.perform(call, [&] { inner->fetch(); });
  const auto ask = [&] { return received_ = inner->receivedText(); };
  const ServiceCall read{Operation::ReceivedText, call.socket};
  try {
    writer_.fetched(call.socket, writer_.read(readings_[readingOf(read.operation)], read, received_, ask));
  } catch (const Failure&) {
    // The engine gets this failure when it reads the text.
  }
}

void Recorder::created(SocketId id, RecordedSocket& socket) {
  auto& elements = sockets_[static_cast<std::size_t>(id.array)];
  if (std::cmp_less_equal(elements.size(), id.index)) elements.resize(static_cast<std::size_t>(id.index) + 1);
  elements[static_cast<std::size_t>(id.index)] = &socket;
}

void Recorder::recordPeriod(const ServiceCall& call) {
  const auto milliseconds = static_cast<std::int16_t>(call.number());
  const std::int16_t before = std::exchange(period_, milliseconds);
  try {
    writer_.perform(call, [&] { inner().timer.setPeriod(milliseconds); });
  } catch (const Failure&) {
    period_ = before;
    throw;
  }
}

void Recorder::beginEvent(const SocketEvent& event) {
  writer_.beginEvent(event);
  const auto& elements = sockets_[static_cast<std::size_t>(event.socket.array)];
  const auto slot = static_cast<std::size_t>(event.socket.index);
  RecordedSocket* const socket = slot < elements.size() ? elements[slot] : nullptr;
  if (socket == nullptr) return;
  if (event.kind == EventKind::Close) socket->become(kSocketClosed);
  if (event.kind == EventKind::Connect) socket->become(event.code == 0 ? kSocketConnected : kSocketClosed);
}

}  // namespace quarnex::recording
