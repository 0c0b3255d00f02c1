#include "recording/player/player_services.h"

#include <utility>

#include "quarnex/failure.h"

namespace quarnex::recording {
namespace {

// One call of a service that changes something in the model: at once, and back if the call fails.
template <class Field>
void change(Course& course, const OperationLine& call, Field& field, Field value) {
  const Field before = std::exchange(field, std::move(value));
  const Answer answer = course.performed(call);
  if (answer.failure) field = before;
  course.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

void perform(Course& course, const OperationLine& call) {
  const Answer answer = course.performed(call);
  course.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

class PlayedSocket final : public SocketInstance {
 public:
  PlayedSocket(Course& course, PlainModel& plain, SocketModel& model, SocketId id)
      : course_(course), plain_(plain), model_(model), id_(id) {}

  std::int32_t state() override { return read(Operation::State, model_.status.state); }
  std::string statusText() override { return read(Operation::StatusText, model_.status.text); }
  std::int32_t localPort() override { return read(Operation::LocalPort, model_.localPort); }
  std::int32_t remotePort() override { return read(Operation::RemotePort, model_.remotePort); }
  std::string remoteHost() override { return read(Operation::RemoteHost, model_.remoteHost); }

  void setLocalPort(std::int32_t port) override {
    change(course_, {Operation::SetLocalPort, id_, port}, model_.localPort, port);
  }
  void setRemotePort(std::int32_t port) override {
    change(course_, {Operation::SetRemotePort, id_, port}, model_.remotePort, port);
  }
  void setLocalAddress(std::string_view dotted) override {
    perform(course_, {Operation::SetLocalAddress, id_, dotted});
  }
  void setRemoteHost(std::string_view dotted) override {
    change(course_, {Operation::SetRemoteHost, id_, dotted}, model_.remoteHost, std::string(dotted));
  }

  void close() override { become(Operation::Close, kSocketClosed); }
  void prepareA() override { perform(course_, {Operation::PrepareA, id_, {}}); }
  void prepareB() override { perform(course_, {Operation::PrepareB, id_, {}}); }
  void connect() override { become(Operation::Connect, kSocketCalling); }
  void listen() override { become(Operation::Listen, kSocketListening); }
  void attach(std::int32_t handle) override;

  std::int32_t bytesWaiting() override {
    plain_.read(Operation::BytesWaiting, id_);
    return model_.bytesWaiting.value_or(course_.nextIsFetch(id_) ? 1 : 0);
  }
  void fetch() override;
  std::string_view receivedText() override {
    plain_.read(Operation::ReceivedText, id_);
    return model_.receivedText;
  }
  void send(std::string_view bytes) override { perform(course_, {Operation::Send, id_, bytes}); }

 private:
  template <class Field>
  const Field& read(Operation property, const Field& field) const {
    plain_.read(property, id_);
    return field;
  }

  void become(Operation operation, SocketState state) {
    change(course_, {operation, id_, {}}, model_.status, statusOf(state));
  }

  Course& course_;
  PlainModel& plain_;
  SocketModel& model_;
  SocketId id_;
};

void PlayedSocket::attach(std::int32_t handle) {
  const SocketModel before = model_;
  model_.remoteHost = course_.hostOf(handle);
  model_.status = statusOf(kSocketConnected);
  const Answer answer = course_.performed({Operation::Attach, id_, handle});
  if (answer.failure) {
    model_.remoteHost = before.remoteHost;
    model_.status = before.status;
  }
  course_.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

void PlayedSocket::fetch() {
  Answer answer = course_.performed({Operation::Fetch, id_, {}});
  model_.bytesWaiting.reset();
  model_.receivedText = std::move(answer.fetched);
  course_.takeInputs();
  if (answer.failure) throw Failure(*answer.failure);
}

}  // namespace

std::unique_ptr<SocketInstance> PlayedSockets::create(SocketArray array, std::int16_t index,
                                                      SocketEvents& events) {
  events_ = &events;
  const SocketId id{array, index};
  SocketModel& model = model_.create(id);
  perform(course_, {Operation::Create, id, {}});
  return std::make_unique<PlayedSocket>(course_, model_, model, id);
}

void PlayedSockets::deliver(const EventLine& event) const {
  if (events_ == nullptr) return;
  const auto [array, index] = event.socket;
  switch (event.event) {
    case EventKind::Connect:
      return events_->onConnect(array, index, event.code);
    case EventKind::Close:
      return events_->onClose(array, index, event.code);
    case EventKind::Receive:
      return events_->onReceive(array, index, event.code);
    case EventKind::Accept:
      return events_->onAccept(array, index, event.handle, event.code);
  }
}

std::int16_t PlayedTimer::period() {
  model_.read(Operation::Period, {});
  return model_.period;
}

void PlayedTimer::setPeriod(std::int16_t milliseconds) {
  change(course_, {Operation::SetPeriod, {}, milliseconds}, model_.period, milliseconds);
}

void PlayedTimer::tick() const {
  if (events_ != nullptr) events_->onTick();
}

void PlayedLog::create(const std::string& name) {
  perform(course_, {Operation::CreateLog, {}, name});
}

void PlayedLog::close() {
  perform(course_, {Operation::CloseLog, {}, {}});
}

}  // namespace quarnex::recording
