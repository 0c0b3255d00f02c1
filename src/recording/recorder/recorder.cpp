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

RecordedSocket*& Recorder::at(SocketId id) {
  auto& elements = sockets_[static_cast<std::size_t>(id.array)];
  const auto slot = static_cast<std::size_t>(id.index);
  if (elements.size() <= slot) elements.resize(slot + 1);
  return elements[slot];
}

}  // namespace quarnex::recording
