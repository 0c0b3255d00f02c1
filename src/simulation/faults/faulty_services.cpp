#include "simulation/faults/faulty_services.h"

#include <type_traits>
#include <utility>

#include "platform/simulated/simulated_socket.h"

namespace quarnex::simulated {
namespace {

class FaultySocket final : public SocketInstance {
 public:
  FaultySocket(std::unique_ptr<SimulatedSocket> inner, OperationFaults& faults, SocketArray array,
               std::int16_t index)
      : inner_(std::move(inner)), faults_(faults), array_(array), index_(index) {}

  std::int32_t state() override {
    return run(Operation::State, [&] { return inner_->state(); });
  }
  std::string statusText() override {
    return run(Operation::StatusText, [&] { return inner_->statusText(); });
  }
  std::int32_t localPort() override {
    return run(Operation::LocalPort, [&] { return inner_->localPort(); });
  }
  void setLocalPort(std::int32_t port) override {
    run(Operation::SetLocalPort, [&] { inner_->setLocalPort(port); });
  }
  std::int32_t remotePort() override {
    return run(Operation::RemotePort, [&] { return inner_->remotePort(); });
  }
  void setRemotePort(std::int32_t port) override {
    run(Operation::SetRemotePort, [&] { inner_->setRemotePort(port); });
  }
  void setLocalAddress(std::string_view dotted) override {
    run(Operation::SetLocalAddress, [&] { inner_->setLocalAddress(dotted); });
  }
  std::string remoteHost() override {
    return run(Operation::RemoteHost, [&] { return inner_->remoteHost(); });
  }
  void setRemoteHost(std::string_view dotted) override {
    run(Operation::SetRemoteHost, [&] { inner_->setRemoteHost(dotted); });
  }
  void close() override {
    run(Operation::Close, [&] { inner_->close(); });
  }
  void prepareA() override {
    run(Operation::PrepareA, [&] { inner_->prepareA(); });
  }
  void prepareB() override {
    run(Operation::PrepareB, [&] { inner_->prepareB(); });
  }
  void connect() override {
    run(Operation::Connect, [&] { inner_->connect(); });
  }
  void listen() override {
    run(Operation::Listen, [&] { inner_->listen(); });
  }
  void attach(std::int32_t handle) override {
    run(Operation::Attach, [&] { inner_->attach(handle); });
  }
  std::int32_t bytesWaiting() override {
    return run(Operation::BytesWaiting, [&] { return inner_->bytesWaiting(); });
  }
  void fetch() override {
    run(Operation::Fetch, [&] { inner_->fetch(); });
  }
  std::string_view receivedText() override {
    return run(Operation::ReceivedText, [&] { return inner_->receivedText(); });
  }
  void send(std::string_view bytes) override {
    run(Operation::Send, [&] { inner_->send(bytes); });
  }

 private:
  template <class Effect>
  std::invoke_result_t<Effect&> run(Operation operation, Effect&& effect) {
    return faults_.run({operation, array_, index_}, effect);
  }

  std::unique_ptr<SimulatedSocket> inner_;
  OperationFaults& faults_;
  SocketArray array_;
  std::int16_t index_;
};

}  // namespace

std::unique_ptr<SocketInstance> FaultySockets::create(SocketArray array, std::int16_t index,
                                                      SocketEvents& events) {
  return faults_.run({Operation::Create, array, index}, [&]() -> std::unique_ptr<SocketInstance> {
    return std::make_unique<FaultySocket>(inner_.make(array, index, events), faults_, array, index);
  });
}

std::int16_t FaultyTimer::period() {
  return faults_.run({Operation::Period}, [&] { return inner_.period(); });
}

void FaultyTimer::setPeriod(std::int16_t milliseconds) {
  faults_.run({Operation::SetPeriod}, [&] { inner_.setPeriod(milliseconds); });
}

void FaultyFile::create(const std::string& name) {
  faults_.run({Operation::CreateLog}, [&] { inner_.create(name); });
}

}  // namespace quarnex::simulated
