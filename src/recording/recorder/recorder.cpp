#include "recording/recorder/recorder.h"

#include <utility>

namespace quarnex::recording {

Recorder::Recorder(const Services& services, LineSink& lines)
    : inner_(services), tape_(services.clock, lines) {}

// A failed element leaves nothing behind.
std::unique_ptr<SocketInstance> Recorder::create(SocketArray array, std::int16_t index,
                                                 SocketEvents& events) {
  socketEvents_ = &events;
  const SocketId id{array, index};
  auto recorded = std::make_unique<RecordedSocket>(tape_, id);
  tape_.perform({Operation::Create, id, {}},
                [&] { recorded->wrap(inner_.sockets.create(array, index, *this)); });
  auto& elements = sockets_[static_cast<std::size_t>(array)];
  if (std::cmp_less_equal(elements.size(), index)) elements.resize(static_cast<std::size_t>(index) + 1);
  elements[static_cast<std::size_t>(index)] = recorded.get();
  return recorded;
}

void Recorder::setEvents(TimerEvents* events) {
  timerEvents_ = events;
  inner_.timer.setEvents(events == nullptr ? nullptr : this);
}

std::int16_t Recorder::period() {
  return static_cast<std::int16_t>(tape_.read(period_, Operation::Period, {}, periodModel_,
                                              [&] { return std::int32_t{inner_.timer.period()}; }));
}

void Recorder::setPeriod(std::int16_t milliseconds) {
  const std::int32_t before = std::exchange(periodModel_, milliseconds);
  try {
    tape_.perform({Operation::SetPeriod, {}, milliseconds}, [&] { inner_.timer.setPeriod(milliseconds); });
  } catch (const Failure&) {
    periodModel_ = before;
    throw;
  }
}

void Recorder::create(const std::string& name) {
  tape_.perform({Operation::CreateLog, {}, name}, [&] { inner_.logFile.create(name); });
}

void Recorder::close() {
  tape_.perform({Operation::CloseLog, {}, {}}, [&] { inner_.logFile.close(); });
}

void Recorder::onConnect(SocketArray array, std::int16_t index, std::int16_t code) {
  tape_.beginEvent(EventKind::Connect, {array, index}, code);
  become({array, index}, code == 0 ? kSocketConnected : kSocketClosed);
  socketEvents_->onConnect(array, index, code);
  tape_.end();
}

void Recorder::onClose(SocketArray array, std::int16_t index, std::int16_t code) {
  tape_.beginEvent(EventKind::Close, {array, index}, code);
  become({array, index}, kSocketClosed);
  socketEvents_->onClose(array, index, code);
  tape_.end();
}

void Recorder::onReceive(SocketArray array, std::int16_t index, std::int16_t code) {
  tape_.beginEvent(EventKind::Receive, {array, index}, code);
  socketEvents_->onReceive(array, index, code);
  tape_.end();
}

void Recorder::onAccept(SocketArray array, std::int16_t index, std::int32_t handle, std::int16_t code) {
  tape_.beginEvent(EventKind::Accept, {array, index}, code, handle);
  socketEvents_->onAccept(array, index, handle, code);
  tape_.end();
}

void Recorder::onTick() {
  tape_.beginTick();
  timerEvents_->onTick();
  tape_.end();
}

void Recorder::called(const Method& method, std::span<const Value> parameters) {
  tape_.beginCall(method, parameters);
}

void Recorder::returned(const Value& result) {
  tape_.endCall(result);
}

void Recorder::failed(const Failure& failure) {
  tape_.endCall(failure);
}

void Recorder::become(SocketId socket, SocketState state) {
  const auto& elements = sockets_[static_cast<std::size_t>(socket.array)];
  const auto slot = static_cast<std::size_t>(socket.index);
  if (slot < elements.size() && elements[slot] != nullptr) elements[slot]->become(state);
}

}  // namespace quarnex::recording
